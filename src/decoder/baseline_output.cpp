#include "decoder/baseline_output.h"

#include <cstring>

namespace trvx {

namespace {

constexpr int kTileChromaOffset = 2 * kBlockCoefficients;

// Eight 4:2:2 samples of one chrominance line under MCU column `column`: the plane's
// own when it has half the luminance width, else the mean of each pair.
void HalfWidthLine(const ComponentPlane& plane, bool fullWidth, uint32_t column, uint32_t line, int32_t* out) {
  if (!fullWidth) {
    const int16_t* row = plane.Row(column, line);
    for (int i = 0; i < 8; ++i) out[i] = row[i];
    return;
  }
  for (uint32_t half = 0; half < 2; ++half) {
    const int16_t* row = plane.Row(2 * column + half, line);
    for (int i = 0; i < 4; ++i) out[4 * half + i] = (row[2 * i] + row[2 * i + 1] + 1) >> 1;
  }
}

// One chrominance block of the MCU at (column, band) in 4:2:2.
void ChromaBlock(const ComponentPlane& plane, const ComponentPlane& luma, uint32_t column, uint32_t band,
                 int16_t* out) {
  const bool fullWidth = plane.h == luma.h;
  const bool halfHeight = plane.v != luma.v;
  if (!fullWidth && !halfHeight) {
    std::memcpy(out, plane.Row(column, 8 * band), kBlockCoefficients * sizeof(int16_t));
    return;
  }
  for (uint32_t row = 0; row < 8; ++row) {
    const uint32_t line = 8 * band + row;
    int32_t near[8];
    if (!halfHeight) {
      HalfWidthLine(plane, fullWidth, column, line, near);
      for (int i = 0; i < 8; ++i) out[row * 8 + i] = int16_t(near[i]);
      continue;
    }
    // Output line 2n takes 3/4 of source line n and 1/4 of line n - 1; line 2n + 1
    // 1/4 of line n + 1. The edges repeat their own line.
    const uint32_t source = line >> 1;
    uint32_t other = (line & 1) != 0 ? source + 1 : source - 1;
    if (source == 0 && (line & 1) == 0) other = 0;
    if (other >= plane.height) other = plane.height - 1;
    int32_t far[8];
    HalfWidthLine(plane, fullWidth, column, source, near);
    HalfWidthLine(plane, fullWidth, column, other, far);
    for (int i = 0; i < 8; ++i) out[row * 8 + i] = int16_t((3 * near[i] + far[i] + 2) >> 2);
  }
}

}  // namespace

int32_t ConvertPlanes(const ImagePlanes& planes, const FrameDescription& description, const OutputConverter& converter,
                      McuWorkspace& tile, uint32_t firstBand, uint32_t endBand) {
  const ComponentPlane& luma = planes.planes[0];
  const uint32_t columns = description.width / 16;
  int16_t* samples = tile.coefficients;
  if (planes.count == 1) std::memset(samples + kTileChromaOffset, 0, 2 * kBlockCoefficients * sizeof(int16_t));
  for (uint32_t band = firstBand; band < endBand; ++band) {
    for (uint32_t column = 0; column < columns; ++column) {
      // The two luminance blocks lie side by side in the plane already.
      std::memcpy(samples, luma.Row(2 * column, 8 * band), 2 * kBlockCoefficients * sizeof(int16_t));
      for (int c = 1; c < planes.count; ++c) {
        ChromaBlock(planes.planes[c], luma, column, band, samples + kTileChromaOffset + (c - 1) * kBlockCoefficients);
      }
      const int32_t result = converter.Convert(description, tile, column, band);
      if (result != 0) return result;
    }
  }
  return 0;
}

}  // namespace trvx
