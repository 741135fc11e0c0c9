#include "encoder/encoder_session.h"

#include "driver/icm_results.h"

namespace trvx {

int32_t EncoderSession::SetQuality(uint32_t quality) {
  if (quality > kMaxQuality) return kIcmUnsupported;
  if (quality == quality_) return kIcmOk;
  quality_ = BuildQuantTables(quality, quantTables_, quantTables_ + kBlockSize);
  for (int i = 0; i < 2 * kBlockSize; ++i) {
    reciprocals_[i] = static_cast<int16_t>(32767 / quantTables_[i]);
  }
  return kIcmOk;
}

// Coding is not built yet: a session cannot begin, so ending one is harmless.
int32_t EncoderSession::Begin() { return kIcmError; }
int32_t EncoderSession::Compress() { return kIcmError; }
int32_t EncoderSession::End() { return kIcmOk; }

}  // namespace trvx
