// The typical Huffman tables of ISO/IEC 10918-1 Annex K in the shapes the entropy
// decoders read. Streams never carry tables of their own that we use, so these are
// built once per process and shared read-only by every decoder on every thread.
#pragma once

#include <cstdint>

#include "decoder/frame_description.h"

namespace trvx {

// One AC symbol of a lookup table. Length 0 marks an index that no code reaches.
struct AcDecodingEntry {
  uint8_t length;  // code bits; in the second level, the bits after the six leading ones
  uint8_t run;     // zeros before the coefficient, kEndOfBlockRun for EOB
  uint8_t size;    // bits of the coefficient value that follow the code
  uint8_t unused;
};

constexpr uint8_t kEndOfBlockRun = 65;
constexpr int kAcFirstLevelEntries = 512;    // indexed by the next 9 bits
constexpr int kAcSecondLevelEntries = 1024;  // indexed by the 10 bits after six ones
// From this 9-bit index on, every code is longer than 9 bits and starts with six ones.
constexpr uint32_t kAcSecondLevelStart = 507;

// Order of the four references in FrameDescription::huffmanTables.
enum HuffmanTableSlot { kLumaAcFirst = 0, kLumaAcSecond = 1, kChromaAcFirst = 2, kChromaAcSecond = 3 };

// DC code of one category: (code length x 16 + category) and the code bits.
struct DcCode {
  uint8_t lengthAndCategory;
  uint16_t code;
};
constexpr int kDcCategories = 12;

// Luminance AC symbols whose code and value bits together fit in 9 bits, decoded
// ahead: the value already sign-extended. Unfilled entries are all ones bits.
struct PredecodedAcEntry {
  int16_t value;
  uint8_t run;     // kEndOfBlockRun for EOB
  uint8_t length;  // code plus value bits; kNotPredecoded when the entry is unfilled
};
constexpr uint8_t kNotPredecoded = 0xFF;

// Runs both builders unless they have run already; safe to call from any thread.
void BuildHuffmanDecodingTables();

// Copies the four AC table references into a description (built tables only).
void SetHuffmanDecodingTables(FrameDescription& description);

// Category codes in category order: table 0 luminance, table 1 chrominance.
const DcCode* DcDecodingTable(int table);

// 512 entries indexed like the first-level table.
const PredecodedAcEntry* PredecodedLumaAcTable();

}  // namespace trvx
