#pragma once

#include <cstdint>

namespace trvx {

// The decompressor side of a codec instance; decoding arrives with the decoder pipeline.
class DecoderSession {
 public:
  DecoderSession() noexcept = default;

  int32_t Begin();
  int32_t Decompress();
  int32_t End();
};

}  // namespace trvx
