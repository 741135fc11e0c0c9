// The shared layer below both coders (src/format): the result codes every session
// and the driver answer with.
#pragma once

#include <cstdint>

namespace trvx {

// Result codes of the installable-compressor messages, as the host sees them.
enum IcmResult : int32_t {
  kIcmOk = 0,
  kIcmUnsupported = -1,
  kIcmBadFormat = -2,
  kIcmMemory = -3,
  kIcmBadParam = -6,
  kIcmBadSize = -7,
  kIcmError = -100,
};

}  // namespace trvx
