// The headers of one JPEG image read the way the standard lays them out, segment by
// segment, for frames in layouts other than the codec's own: what cameras, webcams,
// ffmpeg and cjpeg write. The codec's own frames keep their marker-scanning reader
// (frame_reader.h); this reader only tells them apart.
#pragma once

#include <cstdint>

#include "format/frame_description.h"
#include "decoder/huffman_lookup.h"

namespace trvx {

constexpr int kMaxComponents = 3;
constexpr int kTableSlots = 4;

// What DHT and DQT segments define. A frame starts from the Annex K Huffman tables 0
// and 1 and no quantisation tables; its second image goes on from its first's.
struct BaselineTables {
  HuffmanLookup dc[kTableSlots];
  HuffmanLookup ac[kTableSlots];
  uint8_t huffmanDefined = 0;  // bit n: DC table n; bit 4 + n: AC table n
  uint8_t quantDefined = 0;    // bit n: table n
  uint16_t quant[kTableSlots][kQuantTableEntries];  // zig-zag order, each value x 8

  void ResetForFrame();
};

struct BaselineComponent {
  uint8_t id;
  uint8_t h;
  uint8_t v;
  uint8_t quantTable;
  uint8_t dcTable;
  uint8_t acTable;
};

// One image's frame and scan header, in frame header order.
struct BaselineImage {
  uint8_t frameType = 0;  // the SOF marker's code
  uint32_t width = 0;
  uint32_t height = 0;
  uint8_t componentCount = 0;
  BaselineComponent components[kMaxComponents] = {};
  uint32_t restartInterval = 0;
  // Offset of the first entropy-coded byte from the image's SOI.
  uint32_t codedOffset = 0;
  // A segment this path cannot decode or that breaks the standard's rules: wrong
  // lengths, tables that cannot be built, sampling factors of 0 or above 2, other
  // frame types, scans that are not one interleaved sequential scan.
  bool unsupported = false;
};

constexpr int32_t kHeadersDecoded = 0;
constexpr int32_t kHeadersNotWalkable = -1;

// Walks from the SOI through the SOS segment, never reading `available` bytes or more
// from `data`. kHeadersNotWalkable when the bytes are not a sequence of segments up to
// an SOS (they are then left to the codec's own reader); else the image and the
// tables are filled, with image.unsupported set for anything this path cannot decode.
int32_t ReadBaselineHeaders(const uint8_t* data, uint32_t available, BaselineTables& tables, BaselineImage& image);

// The codec's own layout, which its own reader decodes as it always has (tables and
// selectors as it assumes them, DHT ignored): two field images of components 1, 2, 3
// sampled 2x1, 1x1, 1x1, without a restart interval.
bool IsOwnLayout(const BaselineImage& image, uint32_t frameHeight);

}  // namespace trvx
