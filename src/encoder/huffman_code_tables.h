// The encoder's Huffman codes: the typical tables (format/typical_huffman_tables.h) as
// ready-made (length, code) words the entropy writers look up.
#pragma once

#include <array>
#include <cstdint>

#include "format/typical_huffman_tables.h"

namespace trvx {

// AC entries are indexed by size x 16 + run; each holds length x 65536 + code, and 0
// marks a symbol without a code (sizes above 10).
constexpr int kHuffmanCodeTableEntries = 256;
constexpr int kMaxAcSize = 10;

constexpr uint32_t AcCodeIndex(uint32_t size, uint32_t run) { return size * 16 + run; }
constexpr uint32_t CodeLength(uint32_t entry) { return entry >> 16; }
constexpr uint32_t CodeBits(uint32_t entry) { return entry & 0xFFFF; }

struct DcCodeEntry {
  uint8_t category;
  uint8_t length;
  uint16_t code;
};

using DcCodes = std::array<DcCodeEntry, kDcCategories>;

constexpr DcCodes DcCodesOf(const HuffmanDefinition& table) {
  DcCodes codes = {};
  ForEachCanonicalCode(table, [&codes](uint8_t category, uint32_t code, uint32_t length) {
    codes[category] = DcCodeEntry{category, uint8_t(length), uint16_t(code)};
  });
  return codes;
}

// Indexed by magnitude category 0..11.
inline constexpr DcCodes kLumaDcCodes = DcCodesOf(kTypicalLumaDc);
inline constexpr DcCodes kChromaDcCodes = DcCodesOf(kTypicalChromaDc);

// Fills two zeroed tables of kHuffmanCodeTableEntries entries; runs at every session begin.
void FillHuffmanCodeTables(uint32_t* lumaCodes, uint32_t* chromaCodes);

}  // namespace trvx
