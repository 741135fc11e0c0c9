#pragma once

#include <cstdint>

#include "encoder/quant_tables.h"

namespace trvx {

// The compressor side of a codec instance. For now it keeps the quality and the
// quantisation tables that follow from it; coding arrives with the encoder pipeline.
class EncoderSession {
 public:
  EncoderSession() noexcept = default;

  // Rebuilds the tables for a quality of 0..kMaxQuality; -1 and no change above it.
  int32_t SetQuality(uint32_t quality);
  uint32_t Quality() const { return quality_; }
  const uint16_t* LumaQuantTable() const { return quantTables_; }
  const uint16_t* ChromaQuantTable() const { return quantTables_ + kBlockSize; }
  const int16_t* Reciprocals() const { return reciprocals_; }

  int32_t Begin();
  int32_t Compress();
  int32_t End();

 private:
  uint32_t quality_ = kNoQuality;
  uint16_t quantTables_[2 * kBlockSize] = {};
  int16_t reciprocals_[2 * kBlockSize] = {};
};

}  // namespace trvx
