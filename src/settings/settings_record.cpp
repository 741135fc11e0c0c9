#include "settings/settings_record.h"

#include <cstring>

#include "platform/ansi_text.h"

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

uint32_t UpperCaseFourCc(uint32_t fourCc) {
  char text[4];
  std::memcpy(text, &fourCc, sizeof text);
  std::size_t length = 0;
  while (length < sizeof text && text[length] != '\0') ++length;
  UpperCaseAnsi(text, length);
  std::memcpy(&fourCc, text, sizeof text);
  return fourCc;
}

bool ListsFourCc(const SettingsRecord& settings, uint32_t fourCc) {
  for (uint32_t slot : settings.fourCcs) {
    if (slot == 0) return false;
    if (slot == fourCc) return true;
  }
  return false;
}

}  // namespace trvx
