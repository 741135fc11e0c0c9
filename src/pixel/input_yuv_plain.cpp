// YUV kernels for the plain path: every byte b becomes the sample b x 8 - 1024.
#include "pixel/input_converter.h"

namespace trvx {
namespace {

// Byte offsets of Y0, U and V within each 4-byte pixel pair; Y1 sits 2 after Y0.
struct PairLayout {
  int y, u, v;
};

constexpr PairLayout kUyvy{1, 0, 2};
constexpr PairLayout kYuy2{0, 1, 3};
constexpr PairLayout kYvyu{0, 3, 1};

int16_t Level(uint8_t byte) { return static_cast<int16_t>(byte * 8 - 1024); }

void ConvertPacked(const uint8_t* source, int16_t* samples, uint32_t rowStep, PairLayout layout) {
  for (int row = 0; row < 8; ++row, source += rowStep) {
    for (int pair = 0; pair < 8; ++pair) {
      const uint8_t* bytes = source + 4 * pair;
      int16_t* luma = samples + (pair >> 2) * 64 + row * 8 + 2 * (pair & 3);
      luma[0] = Level(bytes[layout.y]);
      luma[1] = Level(bytes[layout.y + 2]);
      samples[128 + row * 8 + pair] = Level(bytes[layout.u]);
      samples[192 + row * 8 + pair] = Level(bytes[layout.v]);
    }
  }
}

}  // namespace

int32_t InputUyvyPlain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked(source, samples, rowStep, kUyvy);
  return 0;
}

int32_t InputYuy2Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked(source, samples, rowStep, kYuy2);
  return 0;
}

int32_t InputYvyuPlain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked(source, samples, rowStep, kYvyu);
  return 0;
}

int32_t InputY16Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  // Each row is already block-ordered: 8 Y, 8 Y, 8 Cb, 8 Cr.
  for (int row = 0; row < 8; ++row, source += rowStep) {
    for (int i = 0; i < 32; ++i) samples[(i >> 3) * 64 + row * 8 + (i & 7)] = Level(source[i]);
  }
  return 0;
}

}  // namespace trvx
