// Loading and saving the settings record in the registry (src/settings).
#pragma once

#include "settings/settings_record.h"

namespace trvx {

// The process-wide settings: loaded at library attach, edited by the driver dialog.
SettingsRecord& ProcessSettings();

// Fills the record from the registry; false when anything is missing or malformed.
bool LoadSettings(SettingsRecord& settings);
// Resets the record to the defaults and writes them over the stored settings.
void WriteDefaultSettings(SettingsRecord& settings);
void SaveSettings(const SettingsRecord& settings);

}  // namespace trvx
