#pragma once

#include <cstddef>
#include <cstdint>

namespace trvx {

constexpr std::size_t kFourCcSlots = 16;
constexpr std::size_t kApplicationSlots = 16;
constexpr std::size_t kApplicationNameBytes = 512;

constexpr uint32_t MakeFourCc(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<unsigned char>(a)) |
         static_cast<uint32_t>(static_cast<unsigned char>(b)) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(c)) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(d)) << 24;
}

constexpr uint32_t kCodecFourCc = MakeFourCc('T', 'R', 'V', 'X');
constexpr uint32_t kMjpgFourCc = MakeFourCc('M', 'J', 'P', 'G');
// The packed 4:2:2 layouts the codec reads and writes; "Y16" is three characters and a
// zero byte, as hosts tag the blocked layout.
constexpr uint32_t kUyvyFourCc = MakeFourCc('U', 'Y', 'V', 'Y');
constexpr uint32_t kYuy2FourCc = MakeFourCc('Y', 'U', 'Y', '2');
constexpr uint32_t kYvyuFourCc = MakeFourCc('Y', 'V', 'Y', 'U');
constexpr uint32_t kY16FourCc = MakeFourCc('Y', '1', '6', '\0');

// The user's settings, copied as one flat block: it is also the state blob that hosts
// read and write through ICM_GETSTATE/ICM_SETSTATE, so its layout is fixed.
struct SettingsRecord {
  uint32_t tag;
  uint32_t changeFieldsOrder;
  uint32_t fourCcs[kFourCcSlots];  // upper case; used slots first, 0 ends the list
  char applications[kApplicationSlots][kApplicationNameBytes];
};
static_assert(sizeof(SettingsRecord) == 8264, "the state blob is 8264 bytes");

SettingsRecord DefaultSettings();

// Upper-cases the FourCC's bytes up to its first zero byte, as ANSI characters.
uint32_t UpperCaseFourCc(uint32_t fourCc);

// True when the FourCC is among the record's slots before the first empty one.
bool ListsFourCc(const SettingsRecord& settings, uint32_t fourCc);

}  // namespace trvx
