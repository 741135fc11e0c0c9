#include "decoder/huffman_decoding_tables.h"

#include <mutex>

namespace trvx {

namespace {

constexpr uint32_t kLeadingOnesBits = 6;

AcDecodingEntry g_acTables[kHuffmanTableCount][kAcSecondLevelEntries];
DcCode g_dcTables[2][kDcCategories];
PredecodedAcEntry g_predecodedLuma[kAcFirstLevelEntries];
CombinedAcEntry g_combinedAc[2][1u << kCombinedAcBits];
uint8_t g_dcLuma[1u << kDcLookupBits[0]];
uint8_t g_dcChroma[1u << kDcLookupBits[1]];
std::once_flag g_codeTablesBuilt;
std::once_flag g_predecodedBuilt;

AcDecodingEntry EntryFor(uint8_t symbol, uint32_t length) {
  const uint8_t run = symbol == 0x00 ? kEndOfBlockRun : uint8_t(symbol >> 4);
  return AcDecodingEntry{uint8_t(length), run, uint8_t(symbol & 15), 0};
}

void BuildAcTables(const HuffmanDefinition& table, AcDecodingEntry* firstLevel, AcDecodingEntry* secondLevel) {
  ForEachCanonicalCode(table, [&](uint8_t symbol, uint32_t code, uint32_t length) {
    if (length <= 9) {
      const uint32_t spread = 1u << (9 - length);
      for (uint32_t i = 0; i < spread; ++i) firstLevel[(code << (9 - length)) + i] = EntryFor(symbol, length);
    } else if (length < 16) {
      const uint32_t rest = length - kLeadingOnesBits;
      const uint32_t tail = code & ((1u << rest) - 1);
      for (uint32_t i = 0; i < (1u << (10 - rest)); ++i) {
        secondLevel[(tail << (10 - rest)) + i] = EntryFor(symbol, rest);
      }
    } else {
      secondLevel[code % kAcSecondLevelEntries] = EntryFor(symbol, 16 - kLeadingOnesBits);
    }
  });
}

void BuildDcTable(const HuffmanDefinition& table, DcCode* out) {
  ForEachCanonicalCode(table, [&](uint8_t category, uint32_t code, uint32_t length) {
    out[category] = DcCode{uint8_t(length * 16 + category), uint16_t(code)};
  });
}

void BuildDcLookup(const DcCode* codes, uint32_t bits, uint8_t* out) {
  for (int category = 0; category < kDcCategories; ++category) {
    const uint32_t length = codes[category].lengthAndCategory >> 4;
    const uint32_t first = uint32_t(codes[category].code) << (bits - length);
    for (uint32_t i = 0; i < (1u << (bits - length)); ++i) out[first + i] = codes[category].lengthAndCategory;
  }
}

// Code length, run and size of the code at the top of `index`, or length 0.
AcDecodingEntry CodeAt(uint32_t index, const AcDecodingEntry* firstLevel, const AcDecodingEntry* secondLevel) {
  constexpr uint32_t kBits = kCombinedAcBits;
  const uint32_t top9 = index >> (kBits - 9);
  if (top9 < kAcSecondLevelStart) return firstLevel[top9];
  const uint32_t tailBits = kBits - kLeadingOnesBits;
  AcDecodingEntry entry = secondLevel[(index & ((1u << tailBits) - 1)) << (10 - tailBits)];
  if (entry.length == 0 || entry.length > tailBits) return AcDecodingEntry{0, 0, 0, 0};
  entry.length = uint8_t(entry.length + kLeadingOnesBits);
  return entry;
}

void BuildCombinedAc(const AcDecodingEntry* firstLevel, const AcDecodingEntry* secondLevel, CombinedAcEntry* out) {
  constexpr uint32_t kBits = kCombinedAcBits;
  for (uint32_t index = 0; index < (1u << kBits); ++index) {
    const AcDecodingEntry entry = CodeAt(index, firstLevel, secondLevel);
    if (entry.length == 0) {
      out[index] = CombinedAcEntry{0, kUnfilledRun, 0};
    } else if (entry.length + entry.size <= kBits) {
      const uint32_t size = entry.size;
      const uint32_t bits = (index >> (kBits - entry.length - size)) & ((1u << size) - 1);
      int32_t value = int32_t(bits);
      if (size != 0 && (bits >> (size - 1)) == 0) value -= int32_t((1u << size) - 1);
      out[index] = CombinedAcEntry{int16_t(value), entry.run, uint8_t(entry.length + size)};
    } else {
      out[index] = CombinedAcEntry{0, entry.run, uint8_t(entry.length + entry.size * 16)};
    }
  }
}

void BuildCodeTables() {
  BuildAcTables(kTypicalLumaAc, g_acTables[kLumaAcFirst], g_acTables[kLumaAcSecond]);
  BuildAcTables(kTypicalChromaAc, g_acTables[kChromaAcFirst], g_acTables[kChromaAcSecond]);
  BuildDcTable(kTypicalLumaDc, g_dcTables[0]);
  BuildDcTable(kTypicalChromaDc, g_dcTables[1]);
  BuildDcLookup(g_dcTables[0], kDcLookupBits[0], g_dcLuma);
  BuildDcLookup(g_dcTables[1], kDcLookupBits[1], g_dcChroma);
  BuildCombinedAc(g_acTables[kLumaAcFirst], g_acTables[kLumaAcSecond], g_combinedAc[0]);
  BuildCombinedAc(g_acTables[kChromaAcFirst], g_acTables[kChromaAcSecond], g_combinedAc[1]);
}

void BuildPredecodedLumaTable() {
  for (PredecodedAcEntry& entry : g_predecodedLuma) entry = PredecodedAcEntry{-1, 0xFF, kNotPredecoded};
  ForEachCanonicalCode(kTypicalLumaAc, [](uint8_t symbol, uint32_t code, uint32_t length) {
    const uint32_t size = symbol & 15;
    if (length + size >= 10) return;
    const uint8_t run = symbol == 0x00 ? kEndOfBlockRun : uint8_t(symbol >> 4);
    const uint32_t free = 9 - length - size;
    for (uint32_t bits = 0; bits < (1u << size); ++bits) {
      int32_t value = int32_t(bits);
      if (size != 0 && (bits >> (size - 1)) == 0) value -= int32_t((1u << size) - 1);
      const uint32_t first = ((code << size) | bits) << free;
      for (uint32_t i = 0; i < (1u << free); ++i) {
        g_predecodedLuma[first + i] = PredecodedAcEntry{int16_t(value), run, uint8_t(length + size)};
      }
    }
  });
}

}  // namespace

void BuildHuffmanDecodingTables() {
  std::call_once(g_codeTablesBuilt, BuildCodeTables);
  std::call_once(g_predecodedBuilt, BuildPredecodedLumaTable);
}

void SetHuffmanDecodingTables(FrameDescription& description) {
  for (int slot = 0; slot < kHuffmanTableCount; ++slot) description.huffmanTables[slot] = g_acTables[slot];
}

const DcCode* DcDecodingTable(int table) { return g_dcTables[table]; }

const CombinedAcEntry* CombinedAcTable(int table) { return g_combinedAc[table]; }

const uint8_t* DcLookupTable(int table) { return table == 0 ? g_dcLuma : g_dcChroma; }

const PredecodedAcEntry* PredecodedLumaAcTable() { return g_predecodedLuma; }

}  // namespace trvx
