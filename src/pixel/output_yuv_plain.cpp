// Packed and blocked YUV kernels for the plain path: samples x 8.
#include <cstddef>

#include "pixel/output_converter.h"

namespace trvx {
namespace {

// Saturation by lookup: (sample + 4) >> 3 lies in [-4096, 4096] for any int16.
constexpr int kLevelBias = 4096;
struct LevelTable {
  uint8_t values[2 * kLevelBias + 1];
  constexpr LevelTable() : values() {
    for (int i = 0; i <= 2 * kLevelBias; ++i) {
      const int v = i - kLevelBias + 128;
      values[i] = static_cast<uint8_t>(v <= 0 ? 0 : v >= 255 ? 255 : v);
    }
  }
};
constexpr LevelTable kLevelTable;

// Indexed from the table's middle at pointer width: neither the bias nor a sign
// extension costs an instruction per sample.
inline uint8_t ToByte(int16_t sample) {
  const uint8_t* levels = kLevelTable.values + kLevelBias;
  return levels[(std::ptrdiff_t{sample} + 4) >> 3];
}

// Byte positions of Y0, U, Y1, V within each two-pixel group.
template <int Y0, int U, int Y1, int V>
void ConvertPacked(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep) {
    uint8_t* out = dest;
    // Unrolled, every sample offset is a constant.
#pragma GCC unroll 8
    for (int pair = 0; pair < 8; ++pair, out += 4) {
      const int16_t* luma = samples + (pair >> 2) * 64 + row * 8 + (pair & 3) * 2;
      out[Y0] = ToByte(luma[0]);
      out[Y1] = ToByte(luma[1]);
      out[U] = ToByte(samples[128 + row * 8 + pair]);
      out[V] = ToByte(samples[192 + row * 8 + pair]);
    }
  }
}

}  // namespace

int32_t OutputUyvyPlain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertPacked<1, 0, 3, 2>(dest, samples, rowStep);
  return 0;
}

int32_t OutputYuy2Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertPacked<0, 1, 2, 3>(dest, samples, rowStep);
  return 0;
}

int32_t OutputYvyuPlain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertPacked<0, 3, 2, 1>(dest, samples, rowStep);
  return 0;
}

int32_t OutputY16Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep) {
    for (int block = 0; block < 4; ++block) {
      for (int x = 0; x < 8; ++x) dest[block * 8 + x] = ToByte(samples[block * 64 + row * 8 + x]);
    }
  }
  return 0;
}

}  // namespace trvx
