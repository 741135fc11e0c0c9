// Packed and blocked YUV kernels for the plain path: samples x 8.
#include "pixel/output_converter.h"

namespace trvx {
namespace {

uint8_t ToByte(int16_t sample) {
  const int32_t value = ((sample + 4) >> 3) + 128;
  if (value <= 0) return 0;
  if (value >= 255) return 255;
  return static_cast<uint8_t>(value);
}

// Byte positions of Y0, U, Y1, V within each two-pixel group.
template <int Y0, int U, int Y1, int V>
void ConvertPacked(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep) {
    uint8_t* out = dest;
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
