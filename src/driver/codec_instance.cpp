#include "driver/codec_instance.h"

#include <cstring>

#include "format/icm_results.h"

namespace trvx {

CodecInstance::CodecInstance(const SettingsRecord& processSettings) noexcept : settings_(processSettings) {}

int32_t CodecInstance::GetState(void* buffer, uintptr_t bufferSize) const {
  if (buffer == nullptr) return sizeof(SettingsRecord);
  if (bufferSize < sizeof(SettingsRecord)) return kIcmBadSize;
  std::memcpy(buffer, &settings_, sizeof settings_);
  return kIcmOk;
}

intptr_t CodecInstance::SetState(const void* state, intptr_t declaredSize, const SettingsRecord& processSettings) {
  if (state == nullptr) {
    // Back to the settings loaded at library start; the tag stays the instance's own.
    std::memcpy(reinterpret_cast<char*>(&settings_) + sizeof settings_.tag,
                reinterpret_cast<const char*>(&processSettings) + sizeof processSettings.tag,
                sizeof settings_ - sizeof settings_.tag);
    return kIcmOk;
  }
  uint32_t tag;
  std::memcpy(&tag, state, sizeof tag);
  if (tag != settings_.tag) return kIcmError;
  // A matching tag is trusted with a whole record whatever size the host declared;
  // hosts that pass a short size still get their state applied.
  std::memcpy(&settings_, state, sizeof settings_);
  return declaredSize;
}

int32_t CodecInstance::GetQuality(uint32_t* quality) const {
  *quality = encoder_.Quality();
  return *quality <= kMaxQuality ? kIcmOk : kIcmUnsupported;
}

}  // namespace trvx
