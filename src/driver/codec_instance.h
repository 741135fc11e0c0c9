// One open driver instance (src/driver): the state behind each DRV_OPEN, its two
// sessions, and the ICM messages DriverProc hands it.
#pragma once

#include <cstdint>

#include "decoder/decoder_session.h"
#include "driver/formats.h"
#include "encoder/encoder_session.h"
#include "platform/aligned_buffer.h"
#include "settings/settings_record.h"

namespace trvx {


// What ICM_COMPRESS carries, taken out of the host's ICCOMPRESS record.
struct CompressRequest {
  BitmapHeader* outputFormat;
  uint8_t* output;
  const BitmapHeader* inputFormat;
  const uint8_t* input;
  uint32_t quality;
};

// What ICM_DECOMPRESS carries, taken out of the host's ICDECOMPRESS record.
struct DecompressRequest {
  const BitmapHeader* inputFormat;
  const uint8_t* input;
  const BitmapHeader* outputFormat;
  uint8_t* output;
};

// One open codec: what a driver identifier points to. Handlers take the host's
// arguments as they come; pointers from the host may be bad, so the driver runs the
// handlers that follow them under the fault guard.
class CodecInstance {
 public:
  explicit CodecInstance(const SettingsRecord& processSettings) noexcept;
  virtual ~CodecInstance() = default;
  CodecInstance(const CodecInstance&) = delete;
  CodecInstance& operator=(const CodecInstance&) = delete;

  // State blob: the instance's settings record. Sizes are the host's, pointer-wide.
  int32_t GetState(void* buffer, uintptr_t bufferSize) const;
  intptr_t SetState(const void* state, intptr_t declaredSize, const SettingsRecord& processSettings);

  int32_t GetQuality(uint32_t* quality) const;
  int32_t SetQuality(uint32_t quality) { return encoder_.SetQuality(quality); }

  int32_t CompressBegin(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output);
  int32_t Compress(const CompressRequest& request);
  int32_t CompressEnd();
  int32_t DecompressBegin(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output);
  int32_t Decompress(const DecompressRequest& request);
  int32_t DecompressEnd();

  FormatPolicy Policy(HostDefectiveQuery isHostDefective) const { return {settings_, isHostDefective}; }
  SettingsRecord& Settings() { return settings_; }
  const EncoderSession& Encoder() const { return encoder_; }

 private:
  DecoderSession decoder_;
  EncoderSession encoder_;
  SettingsRecord settings_;
  AlignedBuffer decompressScratch_;
  AlignedBuffer compressScratch_;
};

}  // namespace trvx
