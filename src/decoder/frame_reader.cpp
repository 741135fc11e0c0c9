#include "decoder/frame_reader.h"

#include <cstring>

#include "format/jpeg_syntax.h"
#include "platform/fault_guard.h"

namespace trvx {
namespace {

constexpr int32_t kNotFound = -1;

// Offsets from a segment's 0xFF byte.
constexpr uint32_t kLengthOffset = 2;
constexpr uint32_t kSofLinesOffset = 5;
constexpr uint32_t kSofSamplesOffset = 7;
constexpr uint32_t kSofComponentCountOffset = 9;
constexpr uint32_t kSofComponentsOffset = 10;
constexpr uint32_t kSofComponentSize = 3;
constexpr uint32_t kDqtTablesOffset = 4;
constexpr uint32_t kApp1NextFieldOffset = 20;

constexpr int kDequantScale = 8;

uint32_t ReadBigEndian16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }

uint32_t ReadBigEndian32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

// Pairs each 0xFF with the byte after it without following segment lengths, so a
// run of 0xFF fill bytes hides the marker unless the run is odd. The encoder never
// writes fill bytes and decoders in the field rely on this pairing.
int32_t FindMarker(const uint8_t* data, uint32_t available, uint8_t code) {
  uint32_t i = 0;
  while (i < kScanLimit && i < available) {
    if (data[i] == kMarkerPrefix) {
      if (i + 1 >= available) break;
      if (data[i + 1] == code) return static_cast<int32_t>(i);
      i += 2;
    } else {
      ++i;
    }
  }
  return kNotFound;
}

void ReadFrameHeader(const uint8_t* segment, FrameDescription& description) {
  description.height = ReadBigEndian16(segment + kSofLinesOffset);
  description.width = ReadBigEndian16(segment + kSofSamplesOffset);
  const uint32_t componentCount = segment[kSofComponentCountOffset];
  const uint8_t* record = segment + kSofComponentsOffset;
  for (uint32_t n = 0; n < componentCount; ++n) {
    const uint32_t id = record[0];
    // An unknown id keeps the position, so the remaining iterations re-read it.
    if (id >= 1 && id <= 3) {
      const uint8_t factors = record[1];
      description.sampling[2 * (id - 1)] = factors >> 4;
      description.sampling[2 * (id - 1) + 1] = factors & 0x0F;
      record += kSofComponentSize;
    }
  }
}

void ReadQuantTables(const uint8_t* segment, FrameDescription& description) {
  const int32_t tableBytes = static_cast<int32_t>(ReadBigEndian16(segment + kLengthOffset)) - 2;
  if (tableBytes < 1) {
    description.quantTableCount = 1;
    return;
  }
  const uint8_t* p = segment + kDqtTablesOffset;
  int32_t used = 0;
  uint32_t destination = 0;
  while (used < tableBytes) {
    const uint32_t precision = p[0] >> 4;
    destination = p[0] & 0x0F;
    // 16-bit tables never come from a baseline encoder, and destinations past the
    // table area would write over someone else's memory.
    if (precision != 0 || destination >= static_cast<uint32_t>(kQuantTableSlots)) DeliberateFault();
    uint16_t* table = description.quantTables + destination * kQuantTableEntries;
    for (int k = 0; k < kQuantTableEntries; ++k) {
      table[k] = static_cast<uint16_t>(p[1 + k] * kDequantScale);
    }
    p += 1 + kQuantTableEntries;
    used += 1 + kQuantTableEntries;
  }
  description.quantTableCount = static_cast<uint8_t>(destination + 1);
}

// Bytes the readers above take from a segment's 0xFF byte on.
uint32_t FrameHeaderReach(const uint8_t* segment) {
  return kSofComponentsOffset + kSofComponentSize * segment[kSofComponentCountOffset];
}

uint32_t QuantTablesReach(const uint8_t* segment) {
  const uint32_t length = ReadBigEndian16(segment + kLengthOffset);
  if (length < 3) return kDqtTablesOffset;
  const uint32_t tableBytes = length - 2;
  const uint32_t tableSize = 1 + kQuantTableEntries;
  return kDqtTablesOffset + (tableBytes + tableSize - 1) / tableSize * tableSize;
}

// A marker whose segment fits in the available bytes, or kNotFound.
int32_t FindSegment(const uint8_t* data, uint32_t available, uint8_t code, uint32_t fixedBytes,
                    uint32_t (*reach)(const uint8_t*)) {
  const int32_t at = FindMarker(data, available, code);
  if (at == kNotFound) return kNotFound;
  const uint32_t left = available - static_cast<uint32_t>(at);
  if (left < fixedBytes || (reach != nullptr && left < reach(data + at))) return kNotFound;
  return at;
}

}  // namespace

uint32_t BytesBefore(const uint8_t* data, const uint8_t* frameEnd) {
  if (frameEnd == nullptr) return kUnknownLength;
  if (data >= frameEnd) return 0;
  const std::size_t left = static_cast<std::size_t>(frameEnd - data);
  return left < kUnknownLength ? static_cast<uint32_t>(left) : kUnknownLength - 1;
}

uint32_t ReadFieldHeaders(const uint8_t* data, uint32_t available, FrameDescription& description) {
  const int32_t frameHeader = FindSegment(data, available, kSof0, kSofComponentsOffset, FrameHeaderReach);
  if (frameHeader != kNotFound) ReadFrameHeader(data + frameHeader, description);

  const int32_t quantHeader = FindSegment(data, available, kDqt, kDqtTablesOffset, QuantTablesReach);
  if (quantHeader != kNotFound) ReadQuantTables(data + quantHeader, description);

  // Nothing inside SOS is read: the component order and selectors are fixed.
  const int32_t scanHeader = FindSegment(data, available, kSos, kLengthOffset + 2, nullptr);
  if (scanHeader == kNotFound) return 0;
  return static_cast<uint32_t>(scanHeader) + kLengthOffset +
         ReadBigEndian16(data + scanHeader + kLengthOffset);
}

uint32_t FindCodedDataEnd(const uint8_t* data, uint32_t size) {
  uint32_t i = 0;
  while (i + 1 < size) {
    const void* prefix = std::memchr(data + i, kMarkerPrefix, size - 1 - i);
    if (prefix == nullptr) break;
    i = static_cast<uint32_t>(static_cast<const uint8_t*>(prefix) - data);
    const uint8_t code = data[i + 1];
    if (code != kStuffedZero && (code < kFirstRestart || code > kLastRestart)) return i;
    i += 2;
  }
  return size;
}

uint32_t FindNextFieldOffset(const uint8_t* data, uint32_t available) {
  const int32_t app1 = FindSegment(data, available, kApp1, kApp1NextFieldOffset + 4, nullptr);
  if (app1 == kNotFound) return 0;
  const uint32_t offset = ReadBigEndian32(data + app1 + kApp1NextFieldOffset);
  return offset < available ? offset : 0;
}

}  // namespace trvx
