#include <cstdio>
#include <cstring>

#include "platform/module_handle.h"
#include "platform/ansi_text.h"
#include "settings/defective_apps.h"
#include "ui/dialog_parts.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

constexpr char kLimitCaption[] = "Non critical error";

SettingsRecord* DialogSettings(HWND dialog) {
  return reinterpret_cast<SettingsRecord*>(GetWindowLongPtrA(dialog, DWLP_USER));
}

// Exact, case-sensitive: the list box's own search ignores case.
bool ListHolds(HWND dialog, int listId, const char* text) {
  const LRESULT count = SendDlgItemMessageA(dialog, listId, LB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    char item[kApplicationNameBytes] = "";
    if (SendDlgItemMessageA(dialog, listId, LB_GETTEXTLEN, i, 0) >= static_cast<LRESULT>(sizeof item)) continue;
    SendDlgItemMessageA(dialog, listId, LB_GETTEXT, i, reinterpret_cast<LPARAM>(item));
    if (std::strcmp(item, text) == 0) return true;
  }
  return false;
}

void AddAndSelect(HWND dialog, int listId, const char* text) {
  const LRESULT index = SendDlgItemMessageA(dialog, listId, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
  if (index >= 0) SendDlgItemMessageA(dialog, listId, LB_SETCURSEL, index, 0);
}

bool ListIsFull(HWND dialog, int listId, const char* format) {
  if (SendDlgItemMessageA(dialog, listId, LB_GETCOUNT, 0, 0) < kListLimit) return false;
  char text[128];
  wsprintfA(text, format, kListLimit);
  MessageBoxA(dialog, text, kLimitCaption, MB_OK | MB_ICONEXCLAMATION);
  return true;
}

// A FourCC as the list shows it: four characters, blanks padded, upper case.
void FourCcText(const char* typed, char (&text)[5]) {
  std::memset(text, ' ', 4);
  text[4] = '\0';
  std::memcpy(text, typed, strnlen(typed, 4));
  UpperCaseAnsi(text, 4);
}

void AddFourCc(HWND dialog) {
  if (!ListIsFull(dialog, kControlFourCcList, "Max count of FCC abbreviation is %d")) {
    char typed[5] = "";
    GetDlgItemTextA(dialog, kControlFourCcEdit, typed, sizeof typed);
    if (typed[0] != '\0') {
      char text[5];
      FourCcText(typed, text);
      if (!ListHolds(dialog, kControlFourCcList, text)) AddAndSelect(dialog, kControlFourCcList, text);
    }
  }
  SetDlgItemTextA(dialog, kControlFourCcEdit, "");
}

void AddApplication(HWND dialog) {
  if (!ListIsFull(dialog, kControlAppList, "Max count of bad application is %d")) {
    char name[kApplicationNameBytes] = "";
    GetDlgItemTextA(dialog, kControlAppEdit, name, sizeof name);
    if (name[0] != '\0') {
      CutApplicationPath(name);
      LowerCaseAnsi(name, std::strlen(name));
      if (name[0] != '\0' && !ListHolds(dialog, kControlAppList, name)) AddAndSelect(dialog, kControlAppList, name);
    }
  }
  SetDlgItemTextA(dialog, kControlAppEdit, "");
}

void BrowseApplication(HWND dialog) {
  char name[kApplicationNameBytes];
  if (!ChooseApplication(dialog, name, sizeof name)) return;
  CutApplicationPath(name);
  LowerCaseAnsi(name, std::strlen(name));
  SetDlgItemTextA(dialog, kControlAppEdit, name);
}

void FillLists(HWND dialog, SettingsRecord& settings) {
  char caption[1024] = "";
  if (LoadStringA(CodecModule(), kStringSettingsCaption, caption, sizeof caption) > 0) SetWindowTextA(dialog, caption);
  CheckDlgButton(dialog, kControlChangeFieldsOrder, settings.changeFieldsOrder != 0 ? BST_CHECKED : BST_UNCHECKED);

  for (uint32_t fourCc : settings.fourCcs) {
    if (fourCc == 0) continue;
    char text[5] = {static_cast<char>(fourCc), static_cast<char>(fourCc >> 8), static_cast<char>(fourCc >> 16),
                    static_cast<char>(fourCc >> 24), '\0'};
    UpperCaseAnsi(text, std::strlen(text));
    SendDlgItemMessageA(dialog, kControlFourCcList, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
  }
  SendDlgItemMessageA(dialog, kControlFourCcList, LB_SETCURSEL, 0, 0);
  SetDlgItemTextA(dialog, kControlFourCcEdit, "");

  // The slots are lower-cased in place, so even a cancelled dialog leaves them so.
  for (char* slot : settings.applications) {
    const std::size_t length = strnlen(slot, kApplicationNameBytes);
    if (length == 0) continue;
    LowerCaseAnsi(slot, length);
    char name[kApplicationNameBytes];
    std::memcpy(name, slot, length);
    name[length < sizeof name ? length : sizeof name - 1] = '\0';
    SendDlgItemMessageA(dialog, kControlAppList, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name));
  }
  SendDlgItemMessageA(dialog, kControlAppList, LB_SETCURSEL, 0, 0);
  SetDlgItemTextA(dialog, kControlAppEdit, "");
}

void StoreLists(HWND dialog, SettingsRecord& settings) {
  settings.changeFieldsOrder = IsDlgButtonChecked(dialog, kControlChangeFieldsOrder) == BST_CHECKED ? 1 : 0;

  std::memset(settings.fourCcs, 0, sizeof settings.fourCcs);
  const LRESULT fourCcCount = SendDlgItemMessageA(dialog, kControlFourCcList, LB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < fourCcCount && i < static_cast<LRESULT>(kFourCcSlots); ++i) {
    char item[16] = "";
    if (SendDlgItemMessageA(dialog, kControlFourCcList, LB_GETTEXTLEN, i, 0) >= static_cast<LRESULT>(sizeof item)) {
      continue;
    }
    SendDlgItemMessageA(dialog, kControlFourCcList, LB_GETTEXT, i, reinterpret_cast<LPARAM>(item));
    char text[5];
    FourCcText(item, text);
    settings.fourCcs[i] = MakeFourCc(text[0], text[1], text[2], text[3]);
  }

  std::memset(settings.applications, 0, sizeof settings.applications);
  const LRESULT appCount = SendDlgItemMessageA(dialog, kControlAppList, LB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < appCount && i < static_cast<LRESULT>(kApplicationSlots); ++i) {
    char* slot = settings.applications[i];
    if (SendDlgItemMessageA(dialog, kControlAppList, LB_GETTEXTLEN, i, 0) >= static_cast<LRESULT>(kApplicationNameBytes)) {
      continue;
    }
    SendDlgItemMessageA(dialog, kControlAppList, LB_GETTEXT, i, reinterpret_cast<LPARAM>(slot));
  }
}

INT_PTR CALLBACK SettingsDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrA(dialog, DWLP_USER, lParam);
    FillLists(dialog, *reinterpret_cast<SettingsRecord*>(lParam));
    return TRUE;
  }
  if (message != WM_COMMAND || HIWORD(wParam) != BN_CLICKED) return FALSE;
  switch (LOWORD(wParam)) {
    case kControlFourCcAdd:
      AddFourCc(dialog);
      return TRUE;
    case kControlFourCcRemove:
      RemoveSelectedItem(dialog, kControlFourCcList, kControlFourCcEdit);
      return TRUE;
    case kControlAppAdd:
      AddApplication(dialog);
      return TRUE;
    case kControlAppRemove:
      RemoveSelectedItem(dialog, kControlAppList, kControlAppEdit);
      return TRUE;
    case kControlAppBrowse:
      BrowseApplication(dialog);
      return TRUE;
    case kControlSettingsAbout:
      ShowAboutDialog(dialog, DialogSettings(dialog)->tag);
      return TRUE;
    case kControlAdvanced:
      if (ShowDefectiveAppsDialog(dialog) == 1) WriteDefectiveApps();
      return TRUE;
    case IDOK:
      StoreLists(dialog, *DialogSettings(dialog));
      EndDialog(dialog, 1);
      return TRUE;
    case IDCANCEL:
      EndDialog(dialog, 0);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowSettingsDialog(HWND parent, SettingsRecord* settings) {
  return RunDialog(kDialogSettings, parent, SettingsDialogProc, reinterpret_cast<LPARAM>(settings));
}

}  // namespace trvx
