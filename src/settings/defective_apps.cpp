#include "settings/defective_apps.h"

#include <cstdio>
#include <cstring>

#include "platform/ansi_text.h"
#include "platform/fault_guard.h"
#include "settings/registry_key.h"

namespace trvx {

namespace {

const HKEY kRoot = HKEY_CLASSES_ROOT;
// "SoftWare" is spelled so on purpose: the key is shared by name with other codecs.
constexpr char kKeyPath[] = "SoftWare\\Korvantelix\\Common codec's settings\\YUV defective application";
constexpr char kValidMark[] = "Correct state";
constexpr REGSAM kAccess = KEY_READ | KEY_WRITE;

DefectiveAppList defectiveApps;
HINSTANCE dialogModule = nullptr;

struct ValueName {
  char text[32];
};

ValueName EntryValueName(std::size_t index) {
  ValueName name;
  std::snprintf(name.text, sizeof name.text, "Application%02X", static_cast<unsigned>(index));
  return name;
}

void SetDefaultList() {
  std::memset(&defectiveApps, 0, sizeof defectiveApps);
  std::strcpy(defectiveApps.entries[0], "WMPLAYER.EXE");
}

}  // namespace

DefectiveAppList& DefectiveApps() { return defectiveApps; }

HINSTANCE DefectiveAppsModule() { return dialogModule; }

void InitialiseDefectiveApps(HINSTANCE module) {
  dialogModule = module;
  if (!LoadDefectiveApps()) {
    SetDefaultList();
    WriteDefectiveApps();
  }
}

bool LoadDefectiveApps() {
  RegistryKey key;
  if (!key.OpenOrCreate(kRoot, kKeyPath, kAccess)) return false;
  std::memset(&defectiveApps, 0, sizeof defectiveApps);
  uint32_t valid = 0;
  if (!key.ReadDword(kValidMark, &valid) || valid != 1) return false;
  for (std::size_t i = 0; i < kDefectiveAppSlots; ++i) {
    char* entry = defectiveApps.entries[i];
    if (!key.ReadString(EntryValueName(i).text, entry, kDefectiveAppNameBytes)) break;
    UpperCaseAnsi(entry, std::strlen(entry));
  }
  return true;
}

void WriteDefectiveApps() {
  RegDeleteKeyA(kRoot, kKeyPath);
  RegistryKey key;
  if (!key.OpenOrCreate(kRoot, kKeyPath, kAccess)) return;
  for (std::size_t i = 0; i < kDefectiveAppSlots && defectiveApps.entries[i][0] != '\0'; ++i) {
    if (!key.WriteString(EntryValueName(i).text, defectiveApps.entries[i])) break;
  }
  key.WriteDword(kValidMark, 1);
}

bool IsHostDefective() {
  const int32_t answer = RunGuarded([]() -> int32_t {
    char path[MAX_PATH];
    if (GetModuleFileNameA(nullptr, path, sizeof path) == 0) return 1;
    const char* separator = std::strrchr(path, '\\');
    const char* fileName = separator != nullptr ? separator + 1 : path;
    for (const auto& entry : defectiveApps.entries) {
      if (entry[0] == '\0') break;
      if (lstrcmpiA(fileName, entry) == 0) return 1;
    }
    return 0;
  });
  // A fault while asking counts as defective as well.
  return answer != 0;
}

}  // namespace trvx
