// Built with -msse. Include nothing with inline functions here but the copy body
// (see memory_copy_mmx.cpp).
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

#include "pixel/streaming_copy.h"

namespace trvx {
namespace {

struct SseLanes {
  using Register = __m128;
  static void Prefetch(const uint8_t* p) { _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_NTA); }
  static Register Load(const uint8_t* p) { return _mm_loadu_ps(reinterpret_cast<const float*>(p)); }
  static void Stream(uint8_t* p, Register r) { _mm_stream_ps(reinterpret_cast<float*>(p), r); }
  static void Fence() { _mm_sfence(); }
};

}  // namespace

void CopySse(void* dest, const void* src, std::size_t count) { StreamingCopy<SseLanes>(dest, src, count); }

}  // namespace trvx
#endif
