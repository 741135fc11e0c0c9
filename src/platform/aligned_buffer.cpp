#include "platform/aligned_buffer.h"

#include <cstdint>
#include <new>

namespace trvx {

void AlignedBuffer::Allocate(std::size_t size) {
  Release();
  // A size from a host's header can be so large that the padding would wrap it round.
  if (size > SIZE_MAX - kWorkAreaAlignment) return;
  raw_ = new (std::nothrow) uint8_t[size + kWorkAreaAlignment];
  if (raw_ == nullptr) return;
  const auto address = reinterpret_cast<std::uintptr_t>(raw_);
  aligned_ = reinterpret_cast<uint8_t*>((address + kWorkAreaAlignment - 1) & ~(kWorkAreaAlignment - 1));
}

void AlignedBuffer::Release() {
  delete[] raw_;
  raw_ = nullptr;
  aligned_ = nullptr;
}

}  // namespace trvx
