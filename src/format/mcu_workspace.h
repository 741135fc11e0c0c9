// The shared layer below both coders (src/format): the aligned blocks of one MCU,
// which the decoder fills and the output converters read, and which the input
// converters fill for the encoder.
#pragma once

#include <cstdint>

#include "format/frame_description.h"
#include "platform/aligned_buffer.h"

namespace trvx {

constexpr int kBlockCoefficients = 64;
// Room for eight blocks; a 4:2:2 MCU uses four (two luminance, Cb, Cr).
constexpr int kMaxBlocksPerMcu = 8;

// Coefficients of one MCU, block after block in MCU order (the H1 x V1 blocks of
// component 1, then component 2's, then component 3's), 64 signed 16-bit values each.
// The area is 4096-aligned so the vector kernels load aligned, and zeroed when made.
struct McuWorkspace {
  int16_t* coefficients = nullptr;
  uint16_t blocksPerMcu = 0;
  AlignedBuffer storage;

  // Returns false when the area cannot be allocated.
  bool Allocate();
  void Release();

  int16_t* Block(int index) const { return coefficients + index * kBlockCoefficients; }
};

// The encoder's MCU block set is the same aligned area of eight blocks that the decoder
// decodes into: the two luminance blocks (left, right), then Cb, then Cr.
using BlockBuffer = McuWorkspace;

}  // namespace trvx
