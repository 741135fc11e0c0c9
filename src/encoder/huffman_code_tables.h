// The encoder's Huffman codes: the Annex K typical tables, which every stream implies
// and none carries, as ready-made (length, code) words the entropy writers look up.
#pragma once

#include <cstdint>

namespace trvx {

// AC entries are indexed by size x 16 + run; each holds length x 65536 + code, and 0
// marks a symbol without a code (sizes above 10).
constexpr int kHuffmanCodeTableEntries = 256;
constexpr int kMaxAcSize = 10;
constexpr int kDcCategoryCount = 12;

constexpr uint32_t AcCodeIndex(uint32_t size, uint32_t run) { return size * 16 + run; }
constexpr uint32_t CodeLength(uint32_t entry) { return entry >> 16; }
constexpr uint32_t CodeBits(uint32_t entry) { return entry & 0xFFFF; }

struct DcCodeEntry {
  uint8_t category;
  uint8_t length;
  uint16_t code;
};

// Indexed by magnitude category 0..11.
extern const DcCodeEntry kLumaDcCodes[kDcCategoryCount];
extern const DcCodeEntry kChromaDcCodes[kDcCategoryCount];

// Fills two zeroed tables of kHuffmanCodeTableEntries entries; runs at every session begin.
void FillHuffmanCodeTables(uint32_t* lumaCodes, uint32_t* chromaCodes);

}  // namespace trvx
