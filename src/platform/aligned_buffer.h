// Page-aligned work areas (src/platform, the bottom of the stack): every coder and
// converter works in one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trvx {

constexpr std::size_t kWorkAreaAlignment = 4096;

// A heap block used from its first 4096-aligned byte, so kernels see page-aligned data.
// The block is kWorkAreaAlignment bytes larger than asked for; the raw pointer is kept
// for release. Memory comes from the global allocator, which the DLL binds to its
// private heap.
class AlignedBuffer {
 public:
  AlignedBuffer() noexcept = default;
  ~AlignedBuffer() { Release(); }
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;

  // Replaces any held block; on allocation failure the buffer is left empty.
  void Allocate(std::size_t size);
  void Release();

  uint8_t* data() const { return aligned_; }
  bool empty() const { return raw_ == nullptr; }

 private:
  uint8_t* raw_ = nullptr;
  uint8_t* aligned_ = nullptr;
};

}  // namespace trvx
