#include <windows.h>
#include <commdlg.h>

#include <cstring>

#include "ui/dialog_parts.h"

namespace trvx {

bool ChooseApplication(HWND owner, char* name, std::size_t nameBytes) {
  char filter[] = "Applications (*.exe)|*.exe|";
  for (char& c : filter) {
    if (c == '|') c = '\0';
  }
  char path[MAX_PATH] = "*.exe";
  char title[512] = "";

  OPENFILENAMEA dialog = {};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = owner;
  dialog.lpstrFilter = filter;
  dialog.nFilterIndex = 1;
  dialog.lpstrFile = path;
  dialog.nMaxFile = sizeof path;
  dialog.lpstrFileTitle = title;
  dialog.nMaxFileTitle = sizeof title;
  dialog.lpstrTitle = "Choose Application";
  dialog.lpstrDefExt = "EXE";
  dialog.Flags = OFN_FILEMUSTEXIST;
  if (!GetOpenFileNameA(&dialog)) return false;

  std::strncpy(name, title, nameBytes - 1);
  name[nameBytes - 1] = '\0';
  return true;
}

}  // namespace trvx
