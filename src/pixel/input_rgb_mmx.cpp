// RGB kernels for the MMX path, four 16-bit words at a time. Luma truncates (one to
// three levels below plain) and chroma is the mean of each pixel pair; both are kept
// on purpose. Built with -mmmx; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/mmx_access.h"

namespace trvx {
namespace {

// 16.16 multipliers of the studio-range matrix; G to Y is halved and applied to 2 x G
// so that it fits a signed word.
enum Row { kRToY, kGToY, kBToY, kRToCb, kBToCb, kGToCb, kGToCr, kRToCr, kBToCr, kRowCount };
alignas(16) const int16_t kMatrix[kRowCount][4] = {
    {16843, 16843, 16843, 16843},     {16515, 16515, 16515, 16515},
    {6423, 6423, 6423, 6423},         {-9699, -9699, -9699, -9699},
    {28770, 28770, 28770, 28770},     {19071, 19071, 19071, 19071},
    {24117, 24117, 24117, 24117},     {28770, 28770, 28770, 28770},
    {4653, 4653, 4653, 4653},
};
// 16 - 128, taken off before the x 8.
alignas(8) const int16_t kLumaOffset[4] = {112, 112, 112, 112};

__m64 Constant(Row row) { return *reinterpret_cast<const __m64*>(kMatrix[row]); }

__m64 Load(const int16_t* p) { return LoadQuad(p); }

void Store(int16_t* p, __m64 value) { StoreQuad(p, value); }

// One term of the pair mean for pairs 0-1 and 2-3 of eight pixels, then packed: the
// multiply-add sums each pair, the extra shift by one halves it.
__m64 PairTerm(const int16_t* channel, Row row) {
  const __m64 low = _mm_srai_pi32(_mm_madd_pi16(Load(channel), Constant(row)), 17);
  const __m64 high = _mm_srai_pi32(_mm_madd_pi16(Load(channel + 4), Constant(row)), 17);
  return _mm_packs_pi32(low, high);
}

template <int BytesPerPixel>
void ConvertRows(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  const __m64 lumaOffset = *reinterpret_cast<const __m64*>(kLumaOffset);
  alignas(8) int16_t b[16], g[16], r[16];
  for (int row = 0; row < 8; ++row, source -= rowStep) {
    for (int x = 0; x < 16; ++x) {
      b[x] = source[x * BytesPerPixel];
      g[x] = source[x * BytesPerPixel + 1];
      r[x] = source[x * BytesPerPixel + 2];
    }
    for (int quad = 0; quad < 4; ++quad) {
      const int x = 4 * quad;
      __m64 y = _mm_subs_pi16(_mm_mulhi_pi16(Load(r + x), Constant(kRToY)), lumaOffset);
      y = _mm_adds_pi16(y, _mm_mulhi_pi16(_mm_slli_pi16(Load(g + x), 1), Constant(kGToY)));
      y = _mm_adds_pi16(y, _mm_mulhi_pi16(Load(b + x), Constant(kBToY)));
      Store(samples + (quad >> 1) * 64 + row * 8 + (quad & 1) * 4, _mm_slli_pi16(y, 3));
    }
    for (int half = 0; half < 2; ++half) {
      const int x = 8 * half;
      __m64 cb = _mm_subs_pi16(PairTerm(r + x, kRToCb), PairTerm(g + x, kGToCb));
      cb = _mm_adds_pi16(cb, PairTerm(b + x, kBToCb));
      __m64 cr = _mm_subs_pi16(PairTerm(r + x, kRToCr), PairTerm(g + x, kGToCr));
      cr = _mm_subs_pi16(cr, PairTerm(b + x, kBToCr));
      Store(samples + 128 + row * 8 + 4 * half, _mm_slli_pi16(cb, 3));
      Store(samples + 192 + row * 8 + 4 * half, _mm_slli_pi16(cr, 3));
    }
  }
}

}  // namespace

int32_t InputRgb24Mmx(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertRows<3>(s, d, r), 0; }
int32_t InputRgb32Mmx(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertRows<4>(s, d, r), 0; }

}  // namespace trvx
#endif
