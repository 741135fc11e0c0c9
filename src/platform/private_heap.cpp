#include "platform/private_heap.h"

#include <windows.h>

namespace trvx {

namespace {

constexpr SIZE_T kInitialCommit = 0x40000;

HANDLE privateHeap = nullptr;

}  // namespace

void CreatePrivateHeap() {
  if (privateHeap == nullptr) privateHeap = HeapCreate(0, kInitialCommit, 0);
}

void DestroyPrivateHeap() {
  if (privateHeap != nullptr) HeapDestroy(privateHeap);
  privateHeap = nullptr;
}

void* PrivateHeapAllocate(std::size_t size) {
  // The C++ runtime may allocate before the attach notification runs; the heap then
  // comes into being a little early.
  CreatePrivateHeap();
  if (privateHeap == nullptr) return nullptr;
  return HeapAlloc(privateHeap, 0, size == 0 ? 1 : size);
}

void PrivateHeapRelease(void* block) {
  // After detach the heap, and every block in it, is gone already.
  if (block != nullptr && privateHeap != nullptr) HeapFree(privateHeap, 0, block);
}

}  // namespace trvx
