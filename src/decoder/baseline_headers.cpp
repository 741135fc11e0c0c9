#include "decoder/baseline_headers.h"

#include <cstring>

#include "decoder/frame_reader.h"
#include "format/jpeg_syntax.h"

namespace trvx {

namespace {

// Without a frame size the walk stays within what the own reader may touch anyway.
constexpr uint32_t kUnknownLengthWindow = kFieldReadWindow;

uint32_t BigEndian16(const uint8_t* p) { return uint32_t{p[0]} << 8 | p[1]; }

bool ReadHuffmanTables(const uint8_t* body, uint32_t length, BaselineTables& tables) {
  uint32_t at = 0;
  while (at < length) {
    if (length - at < 17) return false;
    const uint32_t tableClass = body[at] >> 4;
    const uint32_t slot = body[at] & 0x0F;
    if (tableClass > 1 || slot >= uint32_t(kTableSlots)) return false;
    HuffmanDefinition definition = {};
    std::memcpy(definition.counts, body + at + 1, sizeof definition.counts);
    uint32_t total = 0;
    for (uint8_t count : definition.counts) total += count;
    at += 17;
    if (total > sizeof definition.symbols || length - at < total) return false;
    std::memcpy(definition.symbols, body + at, total);
    at += total;
    HuffmanLookup& lookup = tableClass == 0 ? tables.dc[slot] : tables.ac[slot];
    if (!BuildHuffmanLookup(definition, tableClass == 0, lookup)) return false;
    tables.huffmanDefined |= uint8_t(1u << (tableClass * 4 + slot));
  }
  return true;
}

bool ReadQuantTables(const uint8_t* body, uint32_t length, BaselineTables& tables) {
  uint32_t at = 0;
  while (at < length) {
    // 16-bit tables belong to 12-bit images, which this path does not decode.
    const uint32_t precision = body[at] >> 4;
    const uint32_t slot = body[at] & 0x0F;
    if (precision != 0 || slot >= uint32_t(kTableSlots) || length - at < 1 + kQuantTableEntries) return false;
    for (int k = 0; k < kQuantTableEntries; ++k) tables.quant[slot][k] = uint16_t(body[at + 1 + k] * 8);
    tables.quantDefined |= uint8_t(1u << slot);
    at += 1 + kQuantTableEntries;
  }
  return true;
}

// Luminance factors of 1 or 2, chrominance factors that divide them; one component
// (greyscale) may have any valid factors, its scan being one block per MCU.
bool SamplingSupported(const BaselineImage& image) {
  const BaselineComponent& luma = image.components[0];
  if (image.componentCount == 1) return luma.h >= 1 && luma.h <= 4 && luma.v >= 1 && luma.v <= 4;
  if (luma.h < 1 || luma.h > 2 || luma.v < 1 || luma.v > 2) return false;
  for (int c = 1; c < image.componentCount; ++c) {
    const BaselineComponent& chroma = image.components[c];
    if (chroma.h < 1 || chroma.v < 1 || luma.h % chroma.h != 0 || luma.v % chroma.v != 0) return false;
  }
  return true;
}

bool ReadFrameHeader(uint8_t code, const uint8_t* body, uint32_t length, BaselineImage& image) {
  if (image.frameType != 0 || length < 6) return false;
  image.frameType = code;
  // Sequential Huffman with 8-bit samples; lossless, progressive and arithmetic coding
  // are not decoded.
  if ((code != kSof0 && code != kSof1) || body[0] != 8) return false;
  image.height = BigEndian16(body + 1);
  image.width = BigEndian16(body + 3);
  if (image.width == 0 || image.height == 0) return false;
  if ((body[5] != 1 && body[5] != kMaxComponents) || length != 6u + 3u * body[5]) return false;
  image.componentCount = body[5];
  for (int c = 0; c < image.componentCount; ++c) {
    const uint8_t* record = body + 6 + 3 * c;
    BaselineComponent& component = image.components[c];
    component = BaselineComponent{record[0], uint8_t(record[1] >> 4), uint8_t(record[1] & 0x0F), record[2], 0, 0};
    if (component.quantTable >= kTableSlots) return false;
    for (int other = 0; other < c; ++other) {
      if (image.components[other].id == component.id) return false;
    }
  }
  return SamplingSupported(image);
}

// One scan holding every component of the frame, in frame order, sequential.
bool ReadScanHeader(const uint8_t* body, uint32_t length, BaselineImage& image) {
  if (image.frameType == 0 || length < 1) return false;
  const uint32_t count = body[0];
  if (count != image.componentCount || length != 4 + 2 * count) return false;
  for (uint32_t c = 0; c < count; ++c) {
    BaselineComponent& component = image.components[c];
    if (body[1 + 2 * c] != component.id) return false;
    component.dcTable = body[2 + 2 * c] >> 4;
    component.acTable = body[2 + 2 * c] & 0x0F;
    if (component.dcTable >= kTableSlots || component.acTable >= kTableSlots) return false;
  }
  const uint8_t* spectral = body + 1 + 2 * count;
  return spectral[0] == 0 && spectral[1] == 63 && spectral[2] == 0;
}

bool TablesPresent(const BaselineImage& image, const BaselineTables& tables) {
  for (int c = 0; c < image.componentCount; ++c) {
    const BaselineComponent& component = image.components[c];
    if ((tables.quantDefined >> component.quantTable & 1) == 0) return false;
    if ((tables.huffmanDefined >> component.dcTable & 1) == 0) return false;
    if ((tables.huffmanDefined >> (4 + component.acTable) & 1) == 0) return false;
  }
  return true;
}

}  // namespace

void BaselineTables::ResetForFrame() {
  // Every frame starts from these, own frames too: built once, copied each time.
  struct AnnexK {
    HuffmanLookup dc[2], ac[2];
  };
  static const AnnexK annexK = [] {
    AnnexK tables;
    for (int slot = 0; slot < 2; ++slot) {
      BuildHuffmanLookup(TypicalHuffmanDefinition(0, slot), true, tables.dc[slot]);
      BuildHuffmanLookup(TypicalHuffmanDefinition(1, slot), false, tables.ac[slot]);
    }
    return tables;
  }();
  for (int slot = 0; slot < 2; ++slot) {
    dc[slot] = annexK.dc[slot];
    ac[slot] = annexK.ac[slot];
  }
  huffmanDefined = 0x33;
  quantDefined = 0;
}

int32_t ReadBaselineHeaders(const uint8_t* data, uint32_t available, BaselineTables& tables, BaselineImage& image) {
  image = BaselineImage();
  if (available == kUnknownLength) available = kUnknownLengthWindow;
  if (available < 4 || data[0] != kMarkerPrefix || data[1] != kSoi) return kHeadersNotWalkable;
  uint32_t at = 2;
  for (;;) {
    if (available - at < 2 || data[at] != kMarkerPrefix) return kHeadersNotWalkable;
    // Fill bytes may come before any marker.
    while (available - at >= 2 && data[at + 1] == kMarkerPrefix) ++at;
    if (available - at < 2) return kHeadersNotWalkable;
    const uint8_t code = data[at + 1];
    at += 2;
    if (code == kTem || (code >= kFirstRestart && code <= kLastRestart)) continue;
    if (code == kSoi || code == kEoi || available - at < 2) return kHeadersNotWalkable;
    const uint32_t length = BigEndian16(data + at);
    if (length < 2 || available - at < length) return kHeadersNotWalkable;
    const uint8_t* body = data + at + 2;
    const uint32_t bodyLength = length - 2;
    at += length;
    bool ok = true;
    if (code == kDht) {
      ok = ReadHuffmanTables(body, bodyLength, tables);
    } else if (code == kDqt) {
      ok = ReadQuantTables(body, bodyLength, tables);
    } else if (code == kDri) {
      ok = bodyLength == 2;
      if (ok) image.restartInterval = BigEndian16(body);
    } else if (code >= kSof0 && code <= kLastSof && code != kDac) {
      ok = ReadFrameHeader(code, body, bodyLength, image);
    } else if (code == kDac) {
      ok = false;
    } else if (code == kSos) {
      if (image.frameType == 0) return kHeadersNotWalkable;
      if (image.unsupported || !ReadScanHeader(body, bodyLength, image) || !TablesPresent(image, tables)) {
        image.unsupported = true;
      }
      image.codedOffset = at;
      return kHeadersDecoded;
    }
    if (!ok) image.unsupported = true;
  }
}

bool IsOwnLayout(const BaselineImage& image, uint32_t frameHeight) {
  static constexpr uint8_t kOwnSampling[kMaxComponents][3] = {{1, 2, 1}, {2, 1, 1}, {3, 1, 1}};
  if (image.frameType != kSof0 || image.componentCount != kMaxComponents || image.restartInterval != 0) return false;
  if (uint64_t{image.height} * 2 > frameHeight) return false;
  for (int c = 0; c < kMaxComponents; ++c) {
    const BaselineComponent& component = image.components[c];
    if (component.id != kOwnSampling[c][0] || component.h != kOwnSampling[c][1] || component.v != kOwnSampling[c][2]) {
      return false;
    }
  }
  return true;
}

}  // namespace trvx
