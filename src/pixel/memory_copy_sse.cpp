// Built with -msse. Include nothing with inline functions here (see
// memory_copy_mmx.cpp).
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

namespace trvx {

void CopySse(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  // Streaming stores want a 16-byte aligned destination; the head goes the plain way.
  std::size_t head = (0u - reinterpret_cast<uintptr_t>(out)) & 15;
  if (head > count) head = count;
  CopyPlain(out, in, head);
  out += head, in += head, count -= head;

  const std::size_t blocks = count >> kCopyBlockShift;
  for (std::size_t b = 0; b < blocks; ++b, out += kCopyBlockSize, in += kCopyBlockSize) {
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      _mm_prefetch(reinterpret_cast<const char*>(in + offset), _MM_HINT_NTA);
    }
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      __m128 r[4];
      for (std::size_t k = 0, i = 0; k < 4; ++k, i += 16) {
        r[k] = _mm_loadu_ps(reinterpret_cast<const float*>(in + offset + i));
      }
      for (std::size_t k = 0, i = 0; k < 4; ++k, i += 16) {
        _mm_stream_ps(reinterpret_cast<float*>(out + offset + i), r[k]);
      }
    }
  }
  if (blocks != 0) _mm_sfence();
  CopyPlain(out, in, count & (kCopyBlockSize - 1));
}

}  // namespace trvx
#else
namespace trvx {
void CopySse(void* dest, const void* src, std::size_t count) { CopyPlain(dest, src, count); }
}  // namespace trvx
#endif
