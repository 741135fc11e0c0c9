#include "encoder/quant_tables.h"

#include <algorithm>

namespace trvx {

const uint16_t kBaseLumaQuantTable[kBlockSize] = {
    16, 11, 10, 16, 24,  40,  51,  61,   //
    12, 12, 14, 19, 26,  58,  60,  55,   //
    14, 13, 16, 24, 40,  57,  69,  56,   //
    14, 17, 22, 29, 51,  87,  80,  62,   //
    18, 22, 37, 56, 68,  109, 103, 77,   //
    24, 35, 55, 64, 81,  104, 113, 92,   //
    49, 64, 78, 87, 103, 121, 120, 101,  //
    72, 92, 95, 98, 112, 100, 103, 99};

const uint16_t kBaseChromaQuantTable[kBlockSize] = {
    17, 18, 24, 47, 99, 99, 99, 99,  //
    18, 21, 26, 66, 99, 99, 99, 99,  //
    24, 26, 56, 99, 99, 99, 99, 99,  //
    47, 66, 99, 99, 99, 99, 99, 99,  //
    99, 99, 99, 99, 99, 99, 99, 99,  //
    99, 99, 99, 99, 99, 99, 99, 99,  //
    99, 99, 99, 99, 99, 99, 99, 99,  //
    99, 99, 99, 99, 99, 99, 99, 99};

namespace {

// Scale factor in units of 1/10000 of the base tables.
uint32_t QualityScale(uint32_t quality) {
  if (quality < 5000) return 10000000u / quality;
  return 4000u - (4u * quality) / 10u;
}

uint16_t ScaledEntry(uint16_t base, uint32_t scale) {
  const uint32_t entry = (base * scale + 5000u) / 10000u;
  return static_cast<uint16_t>(std::clamp<uint32_t>(entry, 1u, 255u));
}

}  // namespace

uint32_t BuildQuantTables(uint32_t quality, uint16_t luma[kBlockSize], uint16_t chroma[kBlockSize]) {
  quality = std::max(quality, kMinEffectiveQuality);
  const uint32_t scale = QualityScale(quality);
  for (int i = 0; i < kBlockSize; ++i) {
    luma[i] = ScaledEntry(kBaseLumaQuantTable[i], scale);
    chroma[i] = ScaledEntry(kBaseChromaQuantTable[i], scale);
  }
  return quality;
}

void BuildReciprocals(const uint16_t* tables, int16_t* reciprocals, int count) {
  for (int i = 0; i < count; ++i) {
    reciprocals[i] = static_cast<int16_t>(32767 / std::max<uint16_t>(tables[i], 1));
  }
}

}  // namespace trvx
