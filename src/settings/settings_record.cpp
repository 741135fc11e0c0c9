#include "settings/settings_record.h"

#include <cstring>

namespace trvx {

SettingsRecord DefaultSettings() {
  SettingsRecord settings;
  std::memset(&settings, 0, sizeof settings);
  settings.tag = kCodecFourCc;
  settings.fourCcs[0] = kCodecFourCc;
  settings.fourCcs[1] = kMjpgFourCc;
  std::strcpy(settings.applications[0], "PREMIERE.EXE");
  std::strcpy(settings.applications[1], "TALVINE.EXE");
  return settings;
}

bool ListsFourCc(const SettingsRecord& settings, uint32_t fourCc) {
  for (uint32_t slot : settings.fourCcs) {
    if (slot == 0) return false;
    if (slot == fourCc) return true;
  }
  return false;
}

}  // namespace trvx
