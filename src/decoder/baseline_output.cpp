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

// Source lines of output line `line` for plane lines at half the height: the nearer
// weighs 3/4, the farther 1/4 (line 2n: n and n - 1; line 2n + 1: n and n + 1), and
// the edges repeat their own line.
void SourceLines(const ComponentPlane& plane, uint32_t line, uint32_t& nearer, uint32_t& farther) {
  nearer = line >> 1;
  farther = (line & 1) != 0 ? nearer + 1 : (nearer == 0 ? 0 : nearer - 1);
  if (farther >= plane.height) farther = plane.height - 1;
}

// One chrominance block of the MCU at (column, band) in 4:2:2. The common layouts
// (4:2:2 as it stands, 4:2:0) have loops of their own.
void ChromaBlock(const ComponentPlane& plane, const ComponentPlane& luma, uint32_t column, uint32_t band,
                 int16_t* out) {
  const bool fullWidth = plane.h == luma.h;
  const bool halfHeight = plane.v != luma.v;
  if (!fullWidth && !halfHeight) {
    std::memcpy(out, plane.Row(column, 8 * band), kBlockCoefficients * sizeof(int16_t));
    return;
  }
  for (uint32_t row = 0; row < 8; ++row, out += 8) {
    const uint32_t line = 8 * band + row;
    if (!halfHeight) {
      int32_t samples[8];
      HalfWidthLine(plane, fullWidth, column, line, samples);
      for (int i = 0; i < 8; ++i) out[i] = int16_t(samples[i]);
      continue;
    }
    uint32_t nearer = 0, farther = 0;
    SourceLines(plane, line, nearer, farther);
    if (!fullWidth) {
      const int16_t* a = plane.Row(column, nearer);
      const int16_t* b = plane.Row(column, farther);
      for (int i = 0; i < 8; ++i) out[i] = int16_t((3 * a[i] + b[i] + 2) >> 2);
      continue;
    }
    int32_t a[8], b[8];
    HalfWidthLine(plane, true, column, nearer, a);
    HalfWidthLine(plane, true, column, farther, b);
    for (int i = 0; i < 8; ++i) out[i] = int16_t((3 * a[i] + b[i] + 2) >> 2);
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
