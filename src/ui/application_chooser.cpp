#include <windows.h>
#include <commdlg.h>

#include <cstring>

#include "ui/dialog_parts.h"

namespace trvx {

bool RunOpenFileDialog(HWND owner, const OpenFileRequest& request, char* fileTitle, DWORD fileTitleBytes) {
  char path[MAX_PATH] = "";
  std::strncpy(path, request.initialPath, sizeof path - 1);
  OPENFILENAMEA dialog = {};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = owner;
  dialog.hInstance = request.instance;
  dialog.lpstrFilter = request.filter;
  dialog.nFilterIndex = 1;
  dialog.lpstrFile = path;
  dialog.nMaxFile = sizeof path;
  dialog.lpstrFileTitle = fileTitle;
  dialog.nMaxFileTitle = fileTitleBytes;
  dialog.lpstrTitle = request.title;
  dialog.lpstrDefExt = request.defaultExtension;
  dialog.Flags = OFN_FILEMUSTEXIST;
  return GetOpenFileNameA(&dialog) != FALSE;
}

bool ChooseApplication(HWND owner, char* name, std::size_t nameBytes) {
  char filter[] = "Applications (*.exe)|*.exe|";
  for (char& c : filter) {
    if (c == '|') c = '\0';
  }
  char title[512] = "";
  if (!RunOpenFileDialog(owner, {filter, "*.exe", "Choose Application", "EXE", nullptr}, title, sizeof title)) {
    return false;
  }
  std::strncpy(name, title, nameBytes - 1);
  name[nameBytes - 1] = '\0';
  return true;
}

}  // namespace trvx
