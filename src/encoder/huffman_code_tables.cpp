#include "encoder/huffman_code_tables.h"

namespace trvx {

namespace {

void Fill(uint32_t* table, const HuffmanDefinition& definition) {
  ForEachCanonicalCode(definition, [table](uint8_t symbol, uint32_t code, uint32_t length) {
    table[AcCodeIndex(symbol & 15u, symbol >> 4)] = length << 16 | code;
  });
}

}  // namespace

void FillHuffmanCodeTables(uint32_t* lumaCodes, uint32_t* chromaCodes) {
  Fill(lumaCodes, kTypicalLumaAc);
  Fill(chromaCodes, kTypicalChromaAc);
}

}  // namespace trvx
