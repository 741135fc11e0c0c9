// Bytes that end exactly where an inaccessible page begins: a read past them faults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#endif

namespace trvx::test {

class FencedBuffer {
 public:
  FencedBuffer(const uint8_t* bytes, std::size_t count) {
    const std::size_t dataPages = (count + kPage - 1) / kPage;
    size_ = (dataPages + 1) * kPage;
#if defined(_WIN32)
    base_ = static_cast<uint8_t*>(VirtualAlloc(nullptr, size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    if (base_ == nullptr) return;
    DWORD old = 0;
    if (!VirtualProtect(base_ + dataPages * kPage, kPage, PAGE_NOACCESS, &old)) return;
#else
    void* memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    base_ = static_cast<uint8_t*>(memory);
    if (mprotect(base_ + dataPages * kPage, kPage, PROT_NONE) != 0) return;
#endif
    data_ = base_ + dataPages * kPage - count;
    if (count != 0) std::memcpy(data_, bytes, count);
  }
  ~FencedBuffer() {
    if (base_ == nullptr) return;
#if defined(_WIN32)
    VirtualFree(base_, 0, MEM_RELEASE);
#else
    munmap(base_, size_);
#endif
  }
  FencedBuffer(const FencedBuffer&) = delete;
  FencedBuffer& operator=(const FencedBuffer&) = delete;

  // Null when the pages could not be set up.
  uint8_t* data() const { return data_; }

 private:
  static constexpr std::size_t kPage = 4096;
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace trvx::test
