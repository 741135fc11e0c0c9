#include "ui/dialogs.h"

#include <cstring>

#include "platform/module_handle.h"
#include "ui/dialog_parts.h"

namespace trvx {

INT_PTR RunDialog(int templateId, HWND parent, DLGPROC procedure, LPARAM parameter) {
  return DialogBoxParamA(CodecModule(), MAKEINTRESOURCEA(templateId), parent, procedure, parameter);
}

void CutApplicationPath(char* name) {
  const std::size_t length = std::strlen(name);
  for (std::size_t i = length + 1; i-- > 0;) {
    const bool afterSeparator = i > 0 && (name[i - 1] == '\\' || name[i - 1] == '/');
    if (afterSeparator || name[i] == ':') {
      std::memmove(name, name + i, length - i + 1);
      return;
    }
  }
}

void RemoveSelectedItem(HWND dialog, int listId, int editId) {
  const LRESULT selected = SendDlgItemMessageA(dialog, listId, LB_GETCURSEL, 0, 0);
  if (selected != LB_ERR) {
    const LRESULT left = SendDlgItemMessageA(dialog, listId, LB_DELETESTRING, selected, 0);
    if (left != LB_ERR && left > 0) {
      SendDlgItemMessageA(dialog, listId, LB_SETCURSEL, selected < left ? selected : left - 1, 0);
    }
  }
  SetDlgItemTextA(dialog, editId, "");
}

}  // namespace trvx
