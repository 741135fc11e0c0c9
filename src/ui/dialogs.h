// The codec's dialogs (src/ui), opened by the driver's configure and about messages.
#pragma once

#include <windows.h>

#include <cstdint>

#include "settings/settings_record.h"

namespace trvx {

// Modal dialogs of the codec. The settings dialog edits the given record in place on OK.
void ShowDriverDialog(HWND parent);
INT_PTR ShowSettingsDialog(HWND parent, SettingsRecord* settings);
INT_PTR ShowAboutDialog(HWND parent, uint32_t tag);
// Edits the process-wide defective list: 1 for OK (already written), 2 for Cancel.
INT_PTR ShowDefectiveAppsDialog(HWND parent);

}  // namespace trvx
