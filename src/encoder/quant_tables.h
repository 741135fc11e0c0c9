// Quantisation tables for a quality and the reciprocals the quantisers multiply by
// (src/encoder); the decoder reads the tables back from each frame's DQT.
#pragma once

#include <cstdint>

namespace trvx {

constexpr uint32_t kDefaultQuality = 7000;
constexpr uint32_t kMaxQuality = 10000;
// Quality value meaning "no tables built yet"; one above the scale on purpose.
constexpr uint32_t kNoQuality = kMaxQuality + 1;
constexpr uint32_t kMinEffectiveQuality = 400;

constexpr int kBlockSize = 64;

// Annex K luminance and chrominance tables in the order the standard prints them.
extern const uint16_t kBaseLumaQuantTable[kBlockSize];
extern const uint16_t kBaseChromaQuantTable[kBlockSize];

// Scales the base tables for an ICM quality of 0..kMaxQuality and returns the quality
// the tables stand for (qualities below kMinEffectiveQuality act as kMinEffectiveQuality).
uint32_t BuildQuantTables(uint32_t quality, uint16_t luma[kBlockSize], uint16_t chroma[kBlockSize]);

// reciprocals[k] = 32767 / tables[k], the quantisers' multipliers; by default for
// luminance and chrominance together. A zero entry (tables never built) counts as 1
// rather than dividing by zero.
void BuildReciprocals(const uint16_t* tables, int16_t* reciprocals, int count = 2 * kBlockSize);

}  // namespace trvx
