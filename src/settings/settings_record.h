// The user's settings as one flat record (src/settings), which is also the state blob
// of ICM_GETSTATE and ICM_SETSTATE.
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/bitmap_format.h"

namespace trvx {

constexpr std::size_t kFourCcSlots = 16;
constexpr std::size_t kApplicationSlots = 16;
constexpr std::size_t kApplicationNameBytes = 512;

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

// True when the FourCC is among the record's slots before the first empty one.
bool ListsFourCc(const SettingsRecord& settings, uint32_t fourCc);

}  // namespace trvx
