// The DLL's private heap (src/platform).
#pragma once

#include <cstddef>

namespace trvx {

// The DLL's own heap: every codec object lives on it, through the global allocation
// operators as well. Created at process attach, destroyed at detach.
void CreatePrivateHeap();
void DestroyPrivateHeap();
void* PrivateHeapAllocate(std::size_t size);
void PrivateHeapRelease(void* block);

}  // namespace trvx
