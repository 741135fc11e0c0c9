#pragma once

#include <cstdint>

#include "decoder/frame_description.h"
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

// The inverse DCT after entropy decoding, chosen once per session by processor class.
// A path never mixes its kernels with another path's: the vector paths leave samples
// at sixteen times their level-shifted value, the plain path at eight times, and each
// output converter expects its own path's scale.
using ReconstructKernel = void (*)(McuWorkspace& workspace);

}  // namespace trvx
