#include "decoder/decoder_session.h"

#include "driver/icm_results.h"

namespace trvx {

// Decoding is not built yet: a session cannot begin, so ending one is harmless.
int32_t DecoderSession::Begin() { return kIcmError; }
int32_t DecoderSession::Decompress() { return kIcmError; }
int32_t DecoderSession::End() { return kIcmOk; }

}  // namespace trvx
