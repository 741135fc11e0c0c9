// Settings and the defective-application list against the real (Wine) registry: what
// a library attach reads, repairs and writes.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "settings/defective_apps.h"
#include "settings/registry_key.h"
#include "settings/settings_store.h"
#include "support/codec_library.h"

namespace trvx::test {
namespace {

constexpr char kCodecKey[] = "Software\\Korvantelix\\MJPG codec";
constexpr char kApplicationKey[] = "Software\\Pellacorte\\Onderwane\\Codec";
constexpr char kDefectiveKey[] = "SoftWare\\Korvantelix\\Common codec's settings\\YUV defective application";

RegistryKey Writable(const char* path) {
  RegistryKey key;
  EXPECT_TRUE(key.OpenOrCreate(HKEY_CLASSES_ROOT, path, KEY_READ | KEY_WRITE)) << path;
  return key;
}

uint32_t ReadDword(const char* path, const char* name) {
  RegistryKey key;
  uint32_t value = 0xDEADBEEF;
  if (key.Open(HKEY_CLASSES_ROOT, path, KEY_READ)) key.ReadDword(name, &value);
  return value;
}

bool HasValue(const char* path, const char* name) {
  RegistryKey key;
  return key.Open(HKEY_CLASSES_ROOT, path, KEY_READ) &&
         RegQueryValueExA(key.Handle(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

void StoreCompleteSettings(uint32_t changeFieldsOrder, std::initializer_list<uint32_t> fourCcs) {
  RegistryKey codec = Writable(kCodecKey);
  codec.WriteDword("ChangeFieldsOrder", changeFieldsOrder);
  codec.WriteDword("MJPGNameCount", static_cast<uint32_t>(fourCcs.size()));
  unsigned number = 0;
  for (uint32_t fourCc : fourCcs) {
    char name[32];
    std::snprintf(name, sizeof name, "MJPGName%u", ++number);
    codec.WriteDword(name, fourCc);
  }
  RegistryKey applications = Writable(kApplicationKey);
  applications.WriteDword("AppCount", 1);
  applications.WriteString("App1", "editor.exe");
}

// The instance's state is the settings the library loaded at attach.
SettingsRecord StateOfNewInstance() {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  SettingsRecord state;
  EXPECT_EQ(codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(&state), sizeof state), ICERR_OK);
  codec.Send(instance, DRV_CLOSE);
  return state;
}

bool SameRecord(const SettingsRecord& a, const SettingsRecord& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class RegistrySettings : public testing::Test {
 protected:
  void SetUp() override { DeleteCodecRegistryKeys(); }
  void TearDown() override { DeleteCodecRegistryKeys(); }
};

// What a first attach writes is read from outside, with reg.exe, by registry_outside_test.sh.
TEST_F(RegistrySettings, StoredSettingsLoadUpperCasedAndCutToSixteen) {
  StoreCompleteSettings(1, {FourCc("mjpg"), FourCc("avRn")});
  SettingsRecord state = StateOfNewInstance();
  EXPECT_EQ(state.changeFieldsOrder, 1u);
  EXPECT_EQ(state.fourCcs[0], FourCc("MJPG"));
  EXPECT_EQ(state.fourCcs[1], FourCc("AVRN"));
  EXPECT_EQ(state.fourCcs[2], 0u);
  EXPECT_STREQ(state.applications[0], "editor.exe");

  // A count of 40 with forty values stored loads the first sixteen.
  {
    RegistryKey codec = Writable(kCodecKey);
    codec.WriteDword("MJPGNameCount", 40);
    for (unsigned i = 1; i <= 40; ++i) {
      char name[32];
      char fourCc[5];
      std::snprintf(name, sizeof name, "MJPGName%u", i);
      std::snprintf(fourCc, sizeof fourCc, "F%03u", i);
      codec.WriteDword(name, FourCc(reinterpret_cast<const char(&)[5]>(fourCc)));
    }
  }
  state = StateOfNewInstance();
  EXPECT_EQ(state.fourCcs[0], FourCc("F001"));
  EXPECT_EQ(state.fourCcs[15], FourCc("F016"));
  const char application[kApplicationNameBytes] = "editor.exe";
  EXPECT_EQ(std::memcmp(state.applications[0], application, sizeof application), 0) << "nothing past the sixteenth";
  EXPECT_EQ(ReadDword(kCodecKey, "MJPGNameCount"), 40u) << "a good load writes nothing back";
}

TEST_F(RegistrySettings, AnyFlawResetsBothKeysToDefaults) {
  // A change-fields-order value of 2 is the outside test's case.
  const std::pair<const char*, void (*)()> flaws[] = {
      {"application key missing", [] { RegDeleteKeyA(HKEY_CLASSES_ROOT, kApplicationKey); }},
      {"a FourCC stored as text", [] { Writable(kCodecKey).WriteString("MJPGName2", "AVRN"); }},
      {"an application stored as a number", [] { Writable(kApplicationKey).WriteDword("App1", 7); }},
  };
  for (const auto& [flaw, make] : flaws) {
    StoreCompleteSettings(0, {FourCc("MJPG"), FourCc("AVRN"), FourCc("TRVX")});
    make();
    EXPECT_TRUE(SameRecord(StateOfNewInstance(), DefaultSettings())) << flaw;
    EXPECT_FALSE(HasValue(kCodecKey, "MJPGName3")) << flaw << ": the codec key is written anew";
    EXPECT_EQ(ReadDword(kApplicationKey, "AppCount"), 2u) << flaw;
  }
}

// Slots are numbered without gaps; values of a longer list stay behind the count.
TEST_F(RegistrySettings, SaveNumbersNonEmptySlotsAndLeavesTheRest) {
  StoreCompleteSettings(0, {FourCc("AAAA"), FourCc("BBBB"), FourCc("CCCC"), FourCc("DDDD")});
  SettingsRecord settings;
  ASSERT_TRUE(LoadSettings(settings));
  settings.fourCcs[1] = 0;
  SaveSettings(settings);
  EXPECT_EQ(ReadDword(kCodecKey, "MJPGNameCount"), 3u);
  EXPECT_EQ(ReadDword(kCodecKey, "MJPGName2"), FourCc("CCCC"));
  EXPECT_EQ(ReadDword(kCodecKey, "MJPGName4"), FourCc("DDDD")) << "left from the longer list";
}

// The defective list stops at its first gap, upper-cased; the running program is
// found on it in any case.
TEST_F(RegistrySettings, DefectiveListLoadsUpToTheFirstGap) {
  {
    RegistryKey key = Writable(kDefectiveKey);
    key.WriteDword("Correct state", 1);
    key.WriteString("Application00", "Editor.exe");
    key.WriteString("Application02", "never.exe");
  }
  ASSERT_TRUE(LoadDefectiveApps());
  EXPECT_STREQ(DefectiveApps().entries[0], "EDITOR.EXE");
  EXPECT_STREQ(DefectiveApps().entries[1], "");
  EXPECT_FALSE(IsHostDefective());
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, sizeof path);
  std::strcpy(DefectiveApps().entries[1], std::strrchr(path, '\\') + 1);
  CharLowerA(DefectiveApps().entries[1]);
  EXPECT_TRUE(IsHostDefective());
}

}  // namespace
}  // namespace trvx::test
