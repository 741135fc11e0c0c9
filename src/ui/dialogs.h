#pragma once

#include <windows.h>

#include <cstdint>

#include "settings/settings_record.h"

namespace trvx {

// Modal dialogs of the codec. The settings dialog edits the given record in place on OK.
void ShowDriverDialog(HWND parent);
INT_PTR ShowSettingsDialog(HWND parent, SettingsRecord* settings);
INT_PTR ShowAboutDialog(HWND parent, uint32_t tag);

}  // namespace trvx
