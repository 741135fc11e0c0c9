#include "ui/dialogs.h"

#include "driver/module_handle.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

// Until the dialogs have their controls, each one only closes: OK with 1, Cancel with 0.
INT_PTR CALLBACK ClosingDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  if (message == WM_INITDIALOG) return TRUE;
  if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
    EndDialog(dialog, LOWORD(wParam) == IDOK ? 1 : 0);
    return TRUE;
  }
  return FALSE;
}

INT_PTR ShowDialog(int id, HWND parent, LPARAM parameter) {
  return DialogBoxParamA(CodecModule(), MAKEINTRESOURCEA(id), parent, ClosingDialogProc, parameter);
}

}  // namespace

void ShowDriverDialog(HWND parent) { ShowDialog(kDialogDriver, parent, 0); }

INT_PTR ShowSettingsDialog(HWND parent, SettingsRecord* settings) {
  return ShowDialog(kDialogSettings, parent, reinterpret_cast<LPARAM>(settings));
}

INT_PTR ShowAboutDialog(HWND parent, uint32_t tag) { return ShowDialog(kDialogAbout, parent, tag); }

}  // namespace trvx
