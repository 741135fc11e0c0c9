// Pieces the codec's dialogs share (src/ui): running a template, choosing a program,
// editing a list.
#pragma once

#include <windows.h>

#include <cstddef>

namespace trvx {

constexpr int kListLimit = 16;

// Runs one of the library's dialog templates modally.
INT_PTR RunDialog(int templateId, HWND parent, DLGPROC procedure, LPARAM parameter);

// An open-file dialog for one existing file: the texts and module it shows.
struct OpenFileRequest {
  const char* filter;  // pairs of description and pattern, each ending in a zero
  const char* initialPath;
  const char* title;
  const char* defaultExtension;  // null for none
  HINSTANCE instance;
};
// Fills fileTitle with the chosen file's name without its path; false on cancel.
bool RunOpenFileDialog(HWND owner, const OpenFileRequest& request, char* fileTitle, DWORD fileTitleBytes);

// The open-file dialog of "Browse": fills name with the chosen file's name without its
// path; false when the user cancels.
bool ChooseApplication(HWND owner, char* name, std::size_t nameBytes);

// Cuts the directory off a file name in place. A drive colon stays with the name
// ("C:edit.exe" gives ":edit.exe"): other software of the family stores names so.
void CutApplicationPath(char* name);

// Deletes the selected list item and empties the edit; the item that took the index,
// or the new last one, is selected after.
void RemoveSelectedItem(HWND dialog, int listId, int editId);

}  // namespace trvx
