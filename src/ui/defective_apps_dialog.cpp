#include <windows.h>
#include <commdlg.h>

#include <cstring>

#include "platform/ansi_text.h"
#include "settings/defective_apps.h"
#include "ui/dialog_parts.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

bool ChooseDefectiveApplication(HWND owner, char (&name)[kDefectiveAppNameBytes]) {
  static const char kFilter[] = "Executable files (*.exe)\0*.exe\0";
  name[0] = '\0';
  return RunOpenFileDialog(owner, {kFilter, "", "Choose application", nullptr, DefectiveAppsModule()}, name,
                           sizeof name);
}

void AddDefectiveApplication(HWND dialog) {
  char name[kDefectiveAppNameBytes];
  if (!ChooseDefectiveApplication(dialog, name)) return;
  UpperCaseAnsi(name, std::strlen(name));

  const HWND list = GetDlgItem(dialog, kControlDefectiveList);
  const LRESULT count = SendMessageA(list, LB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    char item[kDefectiveAppNameBytes] = "";
    if (SendMessageA(list, LB_GETTEXTLEN, i, 0) >= static_cast<LRESULT>(sizeof item)) continue;
    SendMessageA(list, LB_GETTEXT, i, reinterpret_cast<LPARAM>(item));
    if (std::strcmp(item, name) == 0) {
      MessageBoxA(dialog, "This file already selected", "Multiple selection", MB_OK | MB_ICONERROR);
      return;
    }
  }
  if (count >= kListLimit) {
    MessageBoxA(dialog, "Maximum application number is reached", "Maximum selection", MB_OK | MB_ICONERROR);
    return;
  }
  SendMessageA(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name));
}

// Unlike the settings dialog, the index stays: after the last item nothing is selected.
void DeleteDefectiveApplication(HWND dialog) {
  const HWND list = GetDlgItem(dialog, kControlDefectiveList);
  const LRESULT selected = SendMessageA(list, LB_GETCURSEL, 0, 0);
  if (selected == LB_ERR) return;
  SendMessageA(list, LB_DELETESTRING, selected, 0);
  SendMessageA(list, LB_SETCURSEL, selected, 0);
}

void StoreDefectiveList(HWND dialog) {
  DefectiveAppList& apps = DefectiveApps();
  std::memset(&apps, 0, sizeof apps);
  const HWND list = GetDlgItem(dialog, kControlDefectiveList);
  const LRESULT count = SendMessageA(list, LB_GETCOUNT, 0, 0);
  std::size_t stored = 0;
  for (LRESULT i = 0; i < count && stored < kDefectiveAppSlots; ++i) {
    if (SendMessageA(list, LB_GETTEXTLEN, i, 0) >= static_cast<LRESULT>(kDefectiveAppNameBytes)) continue;
    SendMessageA(list, LB_GETTEXT, i, reinterpret_cast<LPARAM>(apps.entries[stored]));
    ++stored;
  }
  WriteDefectiveApps();
}

INT_PTR CALLBACK DefectiveAppsDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  if (message == WM_INITDIALOG) {
    for (const char* entry : DefectiveApps().entries) {
      if (entry[0] == '\0') continue;
      SendDlgItemMessageA(dialog, kControlDefectiveList, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(entry));
    }
    return TRUE;
  }
  if (message != WM_COMMAND || HIWORD(wParam) != BN_CLICKED) return FALSE;
  switch (LOWORD(wParam)) {
    case kControlDefectiveAdd:
      AddDefectiveApplication(dialog);
      return TRUE;
    case kControlDefectiveDelete:
      DeleteDefectiveApplication(dialog);
      return TRUE;
    case IDOK:
      StoreDefectiveList(dialog);
      EndDialog(dialog, 1);
      return TRUE;
    case IDCANCEL:  // 2, not 0: callers test for 1 only
      EndDialog(dialog, 2);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowDefectiveAppsDialog(HWND parent) {
  return RunDialog(kDialogDefectiveApps, parent, DefectiveAppsDialogProc, 0);
}

}  // namespace trvx
