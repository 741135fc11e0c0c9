// The body of the SSE and SSE2 frame copies, written once. Only those two variant
// files include it, each built with its own instruction set; everything here has
// internal linkage, so no copy built for one set can stand in for the other's.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/memory_routines.h"

namespace trvx {
namespace {

// Lanes: a 16-byte register type with Load (unaligned) and Stream (non-temporal,
// aligned) and the fence that orders the streamed stores.
template <class Lanes>
void StreamingCopy(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  // Streaming stores want a 16-byte aligned destination; the head goes the plain way.
  std::size_t head = (0u - reinterpret_cast<uintptr_t>(out)) & 15;
  if (head > count) head = count;
  CopyPlain(out, in, head);
  out += head, in += head, count -= head;

  const std::size_t blocks = count >> kCopyBlockShift;
  for (std::size_t b = 0; b < blocks; ++b, out += kCopyBlockSize, in += kCopyBlockSize) {
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) Lanes::Prefetch(in + offset);
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      typename Lanes::Register r[4];
      for (std::size_t k = 0, i = 0; k < 4; ++k, i += 16) r[k] = Lanes::Load(in + offset + i);
      for (std::size_t k = 0, i = 0; k < 4; ++k, i += 16) Lanes::Stream(out + offset + i, r[k]);
    }
  }
  if (blocks != 0) Lanes::Fence();
  CopyPlain(out, in, count & (kCopyBlockSize - 1));
}

}  // namespace
}  // namespace trvx
