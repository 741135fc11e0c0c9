#include "settings/settings_store.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

#include "settings/registry_key.h"

namespace trvx {

namespace {

// Both keys live under HKEY_CLASSES_ROOT: other software of the same family reads them there.
const HKEY kRoot = HKEY_CLASSES_ROOT;
constexpr char kCodecKeyPath[] = "Software\\Korvantelix\\MJPG codec";
constexpr const char* kCodecKeyParts[] = {"Software", "Korvantelix", "MJPG codec"};
constexpr char kApplicationKeyPath[] = "Software\\Pellacorte\\Onderwane\\Codec";
constexpr const char* kApplicationKeyParts[] = {"Software", "Pellacorte", "Onderwane", "Codec"};

constexpr char kChangeFieldsOrder[] = "ChangeFieldsOrder";
constexpr char kFourCcCount[] = "MJPGNameCount";
constexpr char kApplicationCount[] = "AppCount";

struct ValueName {
  char text[32];
};

ValueName FourCcValueName(unsigned number) {
  ValueName name;
  std::snprintf(name.text, sizeof name.text, "MJPGName%u", number);
  return name;
}

ValueName ApplicationValueName(unsigned number) {
  ValueName name;
  std::snprintf(name.text, sizeof name.text, "App%u", number);
  return name;
}

bool LoadCodecKey(SettingsRecord& settings) {
  RegistryKey key;
  if (!key.Open(kRoot, kCodecKeyPath, KEY_READ)) return false;
  uint32_t changeFieldsOrder = 0;
  if (!key.ReadDword(kChangeFieldsOrder, &changeFieldsOrder) || changeFieldsOrder > 1) return false;
  settings.changeFieldsOrder = changeFieldsOrder;
  uint32_t count = 0;
  if (!key.ReadDword(kFourCcCount, &count)) return false;
  if (count > kFourCcSlots) count = kFourCcSlots;
  bool complete = true;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t fourCc = 0;
    if (key.ReadDword(FourCcValueName(i + 1).text, &fourCc)) {
      settings.fourCcs[i] = UpperCaseFourCc(fourCc);
    } else {
      complete = false;
    }
  }
  return complete;
}

bool LoadApplicationKey(SettingsRecord& settings) {
  RegistryKey key;
  if (!key.Open(kRoot, kApplicationKeyPath, KEY_READ)) return false;
  uint32_t count = 0;
  if (!key.ReadDword(kApplicationCount, &count)) return false;
  if (count > kApplicationSlots) count = kApplicationSlots;
  bool complete = true;
  for (uint32_t i = 0; i < count; ++i) {
    complete &= key.ReadString(ApplicationValueName(i + 1).text, settings.applications[i], kApplicationNameBytes);
  }
  return complete;
}

// Creates a key path one level at a time, as the keys are shared with older software
// that expects each level to exist on its own.
template <std::size_t N>
bool CreateKeyChain(const char* const (&parts)[N], RegistryKey (&chain)[N]) {
  HKEY parent = kRoot;
  for (std::size_t i = 0; i < N; ++i) {
    if (!chain[i].Create(parent, parts[i], KEY_WRITE)) return false;
    parent = chain[i].Handle();
  }
  return true;
}

}  // namespace

SettingsRecord& ProcessSettings() {
  static SettingsRecord settings = DefaultSettings();
  return settings;
}

bool LoadSettings(SettingsRecord& settings) {
  std::memset(&settings, 0, sizeof settings);
  settings.tag = kCodecFourCc;
  // The application list is read only when the codec key was complete.
  return LoadCodecKey(settings) && LoadApplicationKey(settings);
}

void WriteDefaultSettings(SettingsRecord& settings) {
  settings = DefaultSettings();
  RegDeleteKeyA(kRoot, kCodecKeyPath);

  RegistryKey codecChain[3];
  if (!CreateKeyChain(kCodecKeyParts, codecChain)) return;
  RegistryKey& codecKey = codecChain[2];
  codecKey.WriteDword(kChangeFieldsOrder, settings.changeFieldsOrder);
  codecKey.WriteDword(kFourCcCount, 2);
  codecKey.WriteDword(FourCcValueName(1).text, settings.fourCcs[0]);
  codecKey.WriteDword(FourCcValueName(2).text, settings.fourCcs[1]);

  RegistryKey applicationChain[4];
  if (!CreateKeyChain(kApplicationKeyParts, applicationChain)) return;
  RegistryKey& applicationKey = applicationChain[3];
  applicationKey.WriteDword(kApplicationCount, 2);
  applicationKey.WriteString(ApplicationValueName(1).text, settings.applications[0]);
  applicationKey.WriteString(ApplicationValueName(2).text, settings.applications[1]);
}

void SaveSettings(const SettingsRecord& settings) {
  RegistryKey codecKey;
  if (!codecKey.Open(kRoot, kCodecKeyPath, KEY_WRITE)) return;
  codecKey.WriteDword(kChangeFieldsOrder, settings.changeFieldsOrder);
  // Numbered without gaps; values left from a longer list are not ours to delete.
  unsigned written = 0;
  for (uint32_t fourCc : settings.fourCcs) {
    if (fourCc != 0) codecKey.WriteDword(FourCcValueName(++written).text, fourCc);
  }
  codecKey.WriteDword(kFourCcCount, written);
  codecKey.Close();

  RegistryKey applicationKey;
  if (!applicationKey.Open(kRoot, kApplicationKeyPath, KEY_WRITE)) return;
  written = 0;
  for (const char* application : settings.applications) {
    if (application[0] != '\0') applicationKey.WriteString(ApplicationValueName(++written).text, application);
  }
  applicationKey.WriteDword(kApplicationCount, written);
}

}  // namespace trvx
