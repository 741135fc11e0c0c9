// The typical Huffman tables (format/typical_huffman_tables.h) in the shapes the
// entropy decoders of our own layout read. Built once per process and shared
// read-only by every decoder on every thread.
#pragma once

#include <cstdint>

#include "format/frame_description.h"
#include "format/typical_huffman_tables.h"

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

// Luminance AC symbols whose code and value bits together fit in 9 bits, decoded
// ahead: the value already sign-extended. Unfilled entries are all ones bits.
struct PredecodedAcEntry {
  int16_t value;
  uint8_t run;     // kEndOfBlockRun for EOB
  uint8_t length;  // code plus value bits; kNotPredecoded when the entry is unfilled
};
constexpr uint8_t kNotPredecoded = 0xFF;

// The AC codes of up to kCombinedAcBits bits in one table indexed by the next
// kCombinedAcBits bits, so that one lookup gives what the hot loop needs: bits to
// drop, value bits still to read, run, and the value already sign-extended when code
// and value fit in the index. Longer codes and indexes no code reaches read as run
// kUnfilledRun; the decoder takes them, like end of block, on its slower path.
constexpr uint32_t kCombinedAcBits = 11;
struct CombinedAcEntry {
  int16_t value;        // sign-extended, when no value bits are left to read; else 0
  uint8_t run;          // kEndOfBlockRun for EOB, kUnfilledRun for the slower path
  uint8_t dropAndSize;  // bits to drop (code, and value when decoded) + 16 x value bits left
};
constexpr uint32_t kUnfilledRun = 127;

// DC categories by the next 9 (luminance) or 11 (chrominance) bits, the longest
// code of each: (code length x 16 + category), 0 where no code matches.
constexpr uint32_t kDcLookupBits[2] = {9, 11};

// Runs both builders unless they have run already; safe to call from any thread.
void BuildHuffmanDecodingTables();

// Copies the four AC table references into a description (built tables only).
void SetHuffmanDecodingTables(FrameDescription& description);

// Category codes in category order: table 0 luminance, table 1 chrominance.
const DcCode* DcDecodingTable(int table);

// 2^kCombinedAcBits entries: table 0 luminance, table 1 chrominance.
const CombinedAcEntry* CombinedAcTable(int table);

// 2^kDcLookupBits[table] entries: table 0 luminance, table 1 chrominance.
const uint8_t* DcLookupTable(int table);

// 512 entries indexed like the first-level table.
const PredecodedAcEntry* PredecodedLumaAcTable();

}  // namespace trvx
