// The codec's identity as ICM_GETINFO reports it (src/driver).
#pragma once

#include <windows.h>

#include <cstdint>

namespace trvx {

// ICM_GETINFO: fills the host's ICINFO with the codec's names and capabilities.
int32_t GetCodecInfo(void* info, LPARAM infoSize);

}  // namespace trvx
