#include "decoder/huffman_decoding_tables.h"

#include <mutex>

namespace trvx {

namespace {

// Annex K as code counts per length (1..16 bits) and symbols in code order; the
// codes themselves follow by the canonical rule, so they cannot be mistyped.
constexpr HuffmanDefinition kLumaAc = {
    {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d},
    {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07,
     0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0,
     0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28,
     0x29, 0x2a, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49,
     0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69,
     0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89,
     0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7,
     0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3, 0xc4, 0xc5,
     0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
     0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8,
     0xf9, 0xfa}};

constexpr HuffmanDefinition kChromaAc = {
    {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
    {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71,
     0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33, 0x52, 0xf0,
     0x15, 0x62, 0x72, 0xd1, 0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1, 0x17, 0x18, 0x19, 0x1a, 0x26,
     0x27, 0x28, 0x29, 0x2a, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48,
     0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68,
     0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87,
     0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3, 0xa4, 0xa5,
     0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
     0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda,
     0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8,
     0xf9, 0xfa}};

// Code lengths of DC categories 0..11; the symbols are the categories themselves.
constexpr uint8_t kLumaDcLengths[kDcCategories] = {2, 3, 3, 3, 3, 3, 4, 5, 6, 7, 8, 9};
constexpr uint8_t kChromaDcLengths[kDcCategories] = {2, 2, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

constexpr uint32_t kLeadingOnesBits = 6;

AcDecodingEntry g_acTables[kHuffmanTableCount][kAcSecondLevelEntries];
DcCode g_dcTables[2][kDcCategories];
PredecodedAcEntry g_predecodedLuma[kAcFirstLevelEntries];
CombinedAcEntry g_combinedAc[2][1u << kCombinedAcBits];
uint8_t g_dcLuma[1u << kDcLookupBits[0]];
uint8_t g_dcChroma[1u << kDcLookupBits[1]];
std::once_flag g_codeTablesBuilt;
std::once_flag g_predecodedBuilt;

// Calls visit(symbol, code, length) for every symbol in code order.
template <class Visit>
void ForEachCode(const HuffmanDefinition& table, Visit visit) {
  uint32_t code = 0;
  int symbol = 0;
  for (uint32_t length = 1; length <= 16; ++length, code <<= 1) {
    for (int i = 0; i < table.counts[length - 1]; ++i, ++code) visit(table.symbols[symbol++], code, length);
  }
}

AcDecodingEntry EntryFor(uint8_t symbol, uint32_t length) {
  const uint8_t run = symbol == 0x00 ? kEndOfBlockRun : uint8_t(symbol >> 4);
  return AcDecodingEntry{uint8_t(length), run, uint8_t(symbol & 15), 0};
}

void BuildAcTables(const HuffmanDefinition& table, AcDecodingEntry* firstLevel, AcDecodingEntry* secondLevel) {
  ForEachCode(table, [&](uint8_t symbol, uint32_t code, uint32_t length) {
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

void BuildDcTable(const uint8_t* lengths, DcCode* out) {
  uint32_t code = 0;
  for (int category = 0; category < kDcCategories; ++category) {
    if (category > 0) code = (code + 1) << (lengths[category] - lengths[category - 1]);
    out[category] = DcCode{uint8_t(lengths[category] * 16 + category), uint16_t(code)};
  }
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
  BuildAcTables(kLumaAc, g_acTables[kLumaAcFirst], g_acTables[kLumaAcSecond]);
  BuildAcTables(kChromaAc, g_acTables[kChromaAcFirst], g_acTables[kChromaAcSecond]);
  BuildDcTable(kLumaDcLengths, g_dcTables[0]);
  BuildDcTable(kChromaDcLengths, g_dcTables[1]);
  BuildDcLookup(g_dcTables[0], kDcLookupBits[0], g_dcLuma);
  BuildDcLookup(g_dcTables[1], kDcLookupBits[1], g_dcChroma);
  BuildCombinedAc(g_acTables[kLumaAcFirst], g_acTables[kLumaAcSecond], g_combinedAc[0]);
  BuildCombinedAc(g_acTables[kChromaAcFirst], g_acTables[kChromaAcSecond], g_combinedAc[1]);
}

void BuildPredecodedLumaTable() {
  for (PredecodedAcEntry& entry : g_predecodedLuma) entry = PredecodedAcEntry{-1, 0xFF, kNotPredecoded};
  ForEachCode(kLumaAc, [](uint8_t symbol, uint32_t code, uint32_t length) {
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

HuffmanDefinition AnnexKDefinition(int tableClass, int table) {
  if (tableClass == 1) return table == 0 ? kLumaAc : kChromaAc;
  // DC symbols are the categories, whose code lengths never fall as they rise.
  const uint8_t* lengths = table == 0 ? kLumaDcLengths : kChromaDcLengths;
  HuffmanDefinition definition = {};
  for (int category = 0; category < kDcCategories; ++category) {
    ++definition.counts[lengths[category] - 1];
    definition.symbols[category] = uint8_t(category);
  }
  return definition;
}

}  // namespace trvx
