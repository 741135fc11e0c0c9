// Decoding of one interleaved sequential scan, with the stream's own Huffman and
// quantisation tables and restart markers, into per-component sample planes; the
// inverse DCT is the session's kernel, so samples carry that path's scale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "decoder/baseline_headers.h"
#include "decoder/decoder_kernels.h"
#include "format/mcu_workspace.h"
#include "platform/aligned_buffer.h"

namespace trvx {

// The samples of one component, kept as 8x8 blocks so that the inverse DCT runs on
// them where they lie: block (column, row) at blocks + (row x blocksPerRow + column) x 64.
struct ComponentPlane {
  int16_t* blocks = nullptr;
  uint32_t blocksPerRow = 0;
  uint32_t blockRows = 0;
  // The samples that belong to the picture; the blocks may cover more.
  uint32_t width = 0;
  uint32_t height = 0;
  uint8_t h = 1;  // the component's sampling factors, as the scan interleaves it
  uint8_t v = 1;

  // The eight samples of a block column on one line.
  const int16_t* Row(uint32_t blockColumn, uint32_t line) const {
    return blocks + ((std::size_t{line} >> 3) * blocksPerRow + blockColumn) * kBlockCoefficients + (line & 7) * 8;
  }
};

struct ImagePlanes {
  ComponentPlane planes[kMaxComponents];
  uint8_t count = 0;
  uint32_t mcuColumns = 0;
  uint32_t mcuRows = 0;
  AlignedBuffer storage;
  std::size_t capacity = 0;

  // Lays the planes out for the image; allocates only when it needs more room than
  // any image before. False when the memory cannot be had.
  bool Prepare(const BaselineImage& image);
};

constexpr int32_t kScanDecoded = 0;
constexpr int32_t kScanFailed = -1;

// The scan whose entropy-coded data starts at `coded`; nothing at or past `end` (null:
// not known) is read. kScanFailed on a code no table has, a coefficient past the block's end,
// restart markers missing or out of order, or data that runs out before the last MCU.
int32_t DecodeBaselineScan(const BaselineImage& image, const BaselineTables& tables, const uint8_t* coded,
                           const uint8_t* end, ReconstructKernel reconstruct, ImagePlanes& planes);

}  // namespace trvx
