// RGB kernels for the plain path: samples x 8, 16.16 fixed-point studio-range matrix.
#include "pixel/output_converter.h"

namespace trvx {
namespace {

constexpr int32_t kLuma = 76283;        // 1.164
constexpr int32_t kCbToBlue = 132251;   // 2.018
constexpr int32_t kCbToGreen = 25674;   // 0.392
constexpr int32_t kCrToGreen = 53278;   // 0.813
constexpr int32_t kCrToRed = 104595;    // 1.596
// (128 - 16) x 1.164 plus one half for rounding.
constexpr int32_t kOffset = 8576464;

// Saturation by lookup. Descaled samples lie in [-4096, 4096], so every channel value
// ((luma + chroma) >> 16) lies within +-13200: the table covers all int16 input.
constexpr int kClampBias = 16384;
struct ClampTable {
  uint8_t values[2 * kClampBias];
  constexpr ClampTable() : values() {
    for (int i = 0; i < 2 * kClampBias; ++i) {
      const int v = i - kClampBias;
      values[i] = static_cast<uint8_t>(v <= 0 ? 0 : v >= 255 ? 255 : v);
    }
  }
};
constexpr ClampTable kClampTable;
const uint8_t* const kClamp = kClampTable.values + kClampBias;

inline int32_t Descale(int16_t sample) { return (sample + 4) >> 3; }

template <int BytesPerPixel>
inline void PutPixel(uint8_t* out, int16_t sample, int32_t blue, int32_t green, int32_t red) {
  const int32_t y = kLuma * Descale(sample) + kOffset;
  out[0] = kClamp[(y + blue) >> 16];
  out[1] = kClamp[(y + green) >> 16];
  out[2] = kClamp[(y + red) >> 16];
  if (BytesPerPixel == 4) out[3] = 0;
}

// Each chroma pair's products are worked out once for its two pixels.
template <int BytesPerPixel>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep, samples += 8) {
    uint8_t* out = dest;
    // Unrolled, every sample offset is a constant.
#pragma GCC unroll 8
    for (int pair = 0; pair < 8; ++pair, out += 2 * BytesPerPixel) {
      const int32_t u = Descale(samples[128 + pair]);
      const int32_t v = Descale(samples[192 + pair]);
      const int32_t blue = kCbToBlue * u;
      const int32_t green = -kCbToGreen * u - kCrToGreen * v;
      const int32_t red = kCrToRed * v;
      // Pairs 0..3 take the left luminance block, 4..7 the right one.
      const int16_t* luma = samples + (pair & 4) * 16 + (pair & 3) * 2;
      PutPixel<BytesPerPixel>(out, luma[0], blue, green, red);
      PutPixel<BytesPerPixel>(out + BytesPerPixel, luma[1], blue, green, red);
    }
  }
}

}  // namespace

int32_t OutputRgb24Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(dest, samples, rowStep);
  return 0;
}

int32_t OutputRgb32Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(dest, samples, rowStep);
  return 0;
}

}  // namespace trvx
