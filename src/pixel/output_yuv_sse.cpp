// YUV kernels for the SSE path (samples x 16): the MMX arithmetic with non-temporal
// stores, so the frame does not evict the decoder's tables, and the fence that ends
// them. Built with -mmmx -msse.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/mmx_access.h"
#include <xmmintrin.h>

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu, Y16 };

// ((s + 8) >> 4) + 128 in one saturating add and shift.
__m64 ToLevel(__m64 samples) { return _mm_srai_pi16(_mm_adds_pi16(samples, _mm_set1_pi16(0x0808)), 4); }

__m64 ToBytes(const int16_t* samples) {
  return _mm_packs_pu16(ToLevel(LoadQuad(samples)), ToLevel(LoadQuad(samples + 4)));
}

void Store(uint8_t* p, __m64 value) { _mm_stream_pi(reinterpret_cast<__m64*>(p), value); }

template <Layout L>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep, samples += 8) {
    const __m64 left = ToBytes(samples);
    const __m64 right = ToBytes(samples + 64);
    const __m64 cb = ToBytes(samples + 128);
    const __m64 cr = ToBytes(samples + 192);
    if (L == Layout::Y16) {
      Store(dest, left);
      Store(dest + 8, right);
      Store(dest + 16, cb);
      Store(dest + 24, cr);
      continue;
    }
    // Chroma pairs in byte order: U,V for UYVY and YUY2, V,U for YVYU.
    const __m64 first = L == Layout::Yvyu ? cr : cb;
    const __m64 second = L == Layout::Yvyu ? cb : cr;
    const __m64 pairsLeft = _mm_unpacklo_pi8(first, second);
    const __m64 pairsRight = _mm_unpackhi_pi8(first, second);
    if (L == Layout::Uyvy) {
      Store(dest, _mm_unpacklo_pi8(pairsLeft, left));
      Store(dest + 8, _mm_unpackhi_pi8(pairsLeft, left));
      Store(dest + 16, _mm_unpacklo_pi8(pairsRight, right));
      Store(dest + 24, _mm_unpackhi_pi8(pairsRight, right));
    } else {
      Store(dest, _mm_unpacklo_pi8(left, pairsLeft));
      Store(dest + 8, _mm_unpackhi_pi8(left, pairsLeft));
      Store(dest + 16, _mm_unpacklo_pi8(right, pairsRight));
      Store(dest + 24, _mm_unpackhi_pi8(right, pairsRight));
    }
  }
}

}  // namespace

int32_t OutputUyvySse(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<Layout::Uyvy>(dest, samples, rowStep);
  return 0;
}

int32_t OutputYuy2Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<Layout::Yuy2>(dest, samples, rowStep);
  return 0;
}

int32_t OutputYvyuSse(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<Layout::Yvyu>(dest, samples, rowStep);
  return 0;
}

int32_t OutputY16Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<Layout::Y16>(dest, samples, rowStep);
  return 0;
}

void FenceStreamingStores() { _mm_sfence(); }

}  // namespace trvx
#else
// Off x86 DetectProcessor gives 0 and these are never chosen; they keep the link whole.
namespace trvx {
int32_t OutputUyvySse(uint8_t* d, const int16_t* s, uint32_t r) { return OutputUyvyPlain(d, s, r); }
int32_t OutputYuy2Sse(uint8_t* d, const int16_t* s, uint32_t r) { return OutputYuy2Plain(d, s, r); }
int32_t OutputYvyuSse(uint8_t* d, const int16_t* s, uint32_t r) { return OutputYvyuPlain(d, s, r); }
int32_t OutputY16Sse(uint8_t* d, const int16_t* s, uint32_t r) { return OutputY16Plain(d, s, r); }
void FenceStreamingStores() {}
}  // namespace trvx
#endif
