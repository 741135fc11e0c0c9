#pragma once

#include <cstdint>

#include "decoder/frame_description.h"

namespace trvx {

// Every marker search covers this many bytes from its start, whatever the frame's
// real size: the reader is never told how long the frame is.
constexpr uint32_t kScanLimit = 0x10400;

// Upper bound on the bytes the reader may touch from the start of a field image: a
// marker found at the end of the scan window followed by the longest DQT segment.
constexpr uint32_t kFieldReadWindow = kScanLimit + 4 + 0xFFFF + kQuantTableEntries;

// Fills sampling, width and height from the first SOF0 and the quantisation tables
// and their count from the first DQT; values whose segment is missing stay as they
// were. Returns the offset of the first entropy-coded byte, or 0 without an SOS.
// A 16-bit table, or one whose destination lies beyond kQuantTableSlots, faults
// deliberately.
uint32_t ReadFieldHeaders(const uint8_t* data, FrameDescription& description);

// The offset of the first marker in entropy-coded data other than a stuffed 0xFF
// (0xFF 0x00) or a restart marker, which is where a field image's coded data ends;
// `size` when none lies within the `size` bytes from `data`. Reads nothing past them.
uint32_t FindCodedDataEnd(const uint8_t* data, uint32_t size);

// The offset to the second field image held by the first APP1 segment, or 0 when
// there is no APP1 marker.
uint32_t FindNextFieldOffset(const uint8_t* data);

}  // namespace trvx
