// Built with -msse2. Include nothing with inline functions here but the copy body
// (see memory_copy_mmx.cpp).
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "pixel/streaming_copy.h"

namespace trvx {
namespace {

struct Sse2Lanes {
  using Register = __m128i;
  static void Prefetch(const uint8_t* p) { _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_NTA); }
  static Register Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void Stream(uint8_t* p, Register r) { _mm_stream_si128(reinterpret_cast<__m128i*>(p), r); }
  static void Fence() { _mm_sfence(); }
};

}  // namespace

void CopySse2(void* dest, const void* src, std::size_t count) { StreamingCopy<Sse2Lanes>(dest, src, count); }

}  // namespace trvx
#endif
