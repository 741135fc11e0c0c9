#include <cstring>

#include "settings/settings_store.h"
#include "ui/dialog_parts.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

// The user edits a copy: a cancelled settings dialog must leave the process's record alone.
void EditProcessSettings(HWND dialog) {
  SettingsRecord copy = ProcessSettings();
  copy.tag = kCodecFourCc;
  if (ShowSettingsDialog(dialog, &copy) != 1) return;
  const uint32_t tag = ProcessSettings().tag;
  ProcessSettings() = copy;
  ProcessSettings().tag = tag;
}

INT_PTR CALLBACK DriverDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  if (message == WM_INITDIALOG) return TRUE;
  if (message != WM_COMMAND) return FALSE;
  switch (LOWORD(wParam)) {
    case kControlDriverSettings:
      EditProcessSettings(dialog);
      return TRUE;
    case kControlDriverAbout:
      ShowAboutDialog(dialog, 0);
      return TRUE;
    case IDCANCEL:  // the OK button, Escape and the close box
      SaveSettings(ProcessSettings());
      EndDialog(dialog, 0);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

void ShowDriverDialog(HWND parent) { RunDialog(kDialogDriver, parent, DriverDialogProc, 0); }

}  // namespace trvx
