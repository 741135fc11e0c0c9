#include "driver/codec_info.h"

#include <vfw.h>

#include <cstring>

#include "format/icm_results.h"
#include "platform/module_handle.h"
#include "settings/settings_record.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

constexpr DWORD kCodecVersion = 2002;
constexpr int kStringBufferBytes = 4096;
// The codec has always asked for, and reported, only the first word of the record
// while filling all of it; hosts go by the 568 it returns.
constexpr LRESULT kRequiredInfoSize = 4;

void LoadWideString(UINT id, WCHAR* field, int fieldLength) {
  char text[kStringBufferBytes];
  if (LoadStringA(CodecModule(), id, text, sizeof text) < 1) {
    std::memset(field, 0, fieldLength * sizeof(WCHAR));
    return;
  }
  MultiByteToWideChar(CP_ACP, 0, text, -1, field, fieldLength);
}

}  // namespace

int32_t GetCodecInfo(void* info, LPARAM infoSize) {
  if (info == nullptr) return kRequiredInfoSize;
  if (infoSize < kRequiredInfoSize) return kIcmBadSize;
  ICINFO* record = static_cast<ICINFO*>(info);
  record->dwSize = kRequiredInfoSize;
  record->fccType = ICTYPE_VIDEO;
  record->fccHandler = kCodecFourCc;
  record->dwFlags = VIDCF_QUALITY;
  record->dwVersion = kCodecVersion;
  record->dwVersionICM = ICVERSION;
  LoadWideString(kStringDescription, record->szDescription, ARRAYSIZE(record->szDescription));
  std::memset(record->szDriver, 0, sizeof record->szDriver);
  LoadWideString(kStringName, record->szName, ARRAYSIZE(record->szName));
  return sizeof(ICINFO);
}

}  // namespace trvx
