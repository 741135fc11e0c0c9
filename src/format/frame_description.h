// The shared layer below both coders (src/format): what one field image is coded
// with, filled by the decoder's header readers and by the encoder's setup.
#pragma once

#include <cstdint>

namespace trvx {

struct AcDecodingEntry;

constexpr int kHuffmanTableCount = 4;
constexpr int kQuantTableEntries = 64;
// Tables the dequantisation area has room for (four 64-entry tables, 512 bytes).
constexpr int kQuantTableSlots = 4;
constexpr int kSamplingFactorCount = 6;

// Coding parameters of one field image: filled by the header reader (or the
// encoder's setup) and read by the entropy coders, transform kernels and
// converters. A plain record; the tables it points to are owned elsewhere.
struct FrameDescription {
  uint8_t fieldCount = 0;
  uint8_t fieldIndex = 0;
  // Process-wide AC decoding tables (huffman_decoding_tables.h): luminance first and
  // second level, then chrominance first and second level.
  const AcDecodingEntry* huffmanTables[kHuffmanTableCount] = {};
  // Decoder: table k at entries 64k..64k+63, zig-zag order, each the transmitted value
  // x 8. Encoder: luminance then chrominance, 64 entries each, as the DQT carries them.
  uint16_t* quantTables = nullptr;
  uint8_t quantTableCount = 0;
  // H then V of component 1, then of component 2, then of component 3.
  uint8_t sampling[kSamplingFactorCount] = {};
  uint32_t width = 0;
  uint32_t height = 0;

  // Encoder only. Its `height` is the whole frame's (both fields); the frame header
  // writer halves it.
  const uint32_t* lumaCodeTable = nullptr;    // 256 Huffman codes (encoder/huffman_code_tables.h)
  const uint32_t* chromaCodeTable = nullptr;
  const int16_t* reciprocals = nullptr;       // 64 luminance, then 64 chrominance
};

}  // namespace trvx
