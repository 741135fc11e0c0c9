// The pixel layouts the converters read and write, and the kernel tables that both
// directions index by layout and processor path.
#pragma once

#include <cstdint>

#include "format/bitmap_format.h"
#include "pixel/processor.h"

namespace trvx {

enum class PixelLayout { Rgb24, Rgb32, Uyvy, Yuy2, Yvyu, Y16, None };

// A family's kernels, one row a layout in PixelLayout order, one column a KernelPath.
template <class Kernel>
using KernelTable = Kernel[static_cast<int>(PixelLayout::None)][kKernelPathCount];

// A row of a KernelTable: the Plain, Mmx, Sse, Sse2 and PlainSse2 variants of one kernel.
#define TRVX_KERNELS_BY_PATH(kernel) \
  { kernel##Plain, kernel##Mmx, kernel##Sse, kernel##Sse2, kernel##PlainSse2 }
// The same for a kernel whose SSE2 variant already gives the plain bytes.
#define TRVX_KERNELS_BY_PATH_SSE2_EXACT(kernel) \
  { kernel##Plain, kernel##Mmx, kernel##Sse, kernel##Sse2, kernel##Sse2 }

constexpr PixelLayout RgbLayout(uint32_t bitCount) {
  if (bitCount == 24) return PixelLayout::Rgb24;
  if (bitCount == 32) return PixelLayout::Rgb32;
  return PixelLayout::None;
}

// The FourCC as stored: a lower-case one has no kernels.
constexpr PixelLayout YuvLayout(uint32_t fourCc) {
  switch (fourCc) {
    case kUyvyFourCc:
      return PixelLayout::Uyvy;
    case kYuy2FourCc:
      return PixelLayout::Yuy2;
    case kYvyuFourCc:
      return PixelLayout::Yvyu;
    case kY16FourCc:
      return PixelLayout::Y16;
    default:
      return PixelLayout::None;
  }
}

template <class Kernel>
Kernel KernelFor(const KernelTable<Kernel>& table, PixelLayout layout, KernelPath path) {
  if (layout == PixelLayout::None) return nullptr;
  return table[static_cast<int>(layout)][static_cast<int>(path)];
}

}  // namespace trvx
