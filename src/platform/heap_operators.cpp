// Binds the DLL's global allocation operators to its private heap.
#include <new>

#include "platform/private_heap.h"

namespace {

void* AllocateOrThrow(std::size_t size) {
  void* block = trvx::PrivateHeapAllocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return trvx::PrivateHeapAllocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return trvx::PrivateHeapAllocate(size); }

void operator delete(void* block) noexcept { trvx::PrivateHeapRelease(block); }
void operator delete[](void* block) noexcept { trvx::PrivateHeapRelease(block); }
void operator delete(void* block, std::size_t) noexcept { trvx::PrivateHeapRelease(block); }
void operator delete[](void* block, std::size_t) noexcept { trvx::PrivateHeapRelease(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { trvx::PrivateHeapRelease(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { trvx::PrivateHeapRelease(block); }
