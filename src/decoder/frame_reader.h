// Reads the marker segments of a field image in the codec's own layout into a frame
// description, and finds the second field image behind the first.
#pragma once

#include <cstdint>

#include "format/frame_description.h"

namespace trvx {

// Every marker search covers this many bytes from its start, however long the frame,
// and stops earlier at the frame's end when the host told its size.
constexpr uint32_t kScanLimit = 0x10400;

// The bytes left to read from a position when the host gave no frame size.
constexpr uint32_t kUnknownLength = 0xFFFFFFFF;

// The bytes from `data` to `frameEnd` (0 when data lies at or past it), or
// kUnknownLength without an end.
uint32_t BytesBefore(const uint8_t* data, const uint8_t* frameEnd);

// Upper bound on the bytes the reader may touch from the start of a field image: a
// marker found at the end of the scan window followed by the longest DQT segment.
constexpr uint32_t kFieldReadWindow = kScanLimit + 4 + 0xFFFF + kQuantTableEntries;

// Fills sampling, width and height from the first SOF0 and the quantisation tables
// and their count from the first DQT; values whose segment is missing stay as they
// were. Returns the offset of the first entropy-coded byte, or 0 without an SOS.
// A 16-bit table, or one whose destination lies beyond kQuantTableSlots, faults
// deliberately. Nothing at or beyond `available` bytes from `data` is read: a
// segment that would run past it counts as missing.
uint32_t ReadFieldHeaders(const uint8_t* data, uint32_t available, FrameDescription& description);

// The offset of the first marker in entropy-coded data other than a stuffed 0xFF
// (0xFF 0x00) or a restart marker, which is where a field image's coded data ends;
// `size` when none lies within the `size` bytes from `data`. Reads nothing past them.
uint32_t FindCodedDataEnd(const uint8_t* data, uint32_t size);

// The offset to the second field image held by the first APP1 segment, or 0 when
// there is no APP1 marker or the offset points outside the `available` bytes.
uint32_t FindNextFieldOffset(const uint8_t* data, uint32_t available);

}  // namespace trvx
