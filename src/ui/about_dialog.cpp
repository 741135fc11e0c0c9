#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/module_handle.h"
#include "settings/settings_record.h"
#include "ui/dialog_parts.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"

namespace trvx {

namespace {

constexpr WORD kEnglishUs = 1033;
constexpr WORD kUnicodeCodePage = 1200;

struct Translation {
  WORD language;
  WORD codePage;
};

// The "SpecialBuild" text of the library's own version resource, if it has one.
void ReadSpecialBuild(char* text, std::size_t textBytes) {
  char path[MAX_PATH];
  if (GetModuleFileNameA(CodecModule(), path, sizeof path) == 0) return;
  DWORD unused = 0;
  const DWORD size = GetFileVersionInfoSizeA(path, &unused);
  if (size == 0) return;
  std::vector<char> block(size);
  if (!GetFileVersionInfoA(path, 0, size, block.data())) return;

  Translation* translations = nullptr;
  UINT translationBytes = 0;
  if (!VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", reinterpret_cast<void**>(&translations),
                      &translationBytes)) {
    return;
  }
  for (UINT i = 0; i < translationBytes / sizeof(Translation); ++i) {
    if (translations[i].language != kEnglishUs || translations[i].codePage != kUnicodeCodePage) continue;
    char query[64];
    wsprintfA(query, "\\StringFileInfo\\%04x%04x\\SpecialBuild", translations[i].language, translations[i].codePage);
    char* value = nullptr;
    UINT valueLength = 0;
    if (VerQueryValueA(block.data(), query, reinterpret_cast<void**>(&value), &valueLength) && value != nullptr) {
      std::snprintf(text, textBytes, "%s", value);
    }
    return;
  }
}

INT_PTR CALLBACK AboutDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    const uint32_t tag = static_cast<uint32_t>(lParam);
    char about[1024] = "";
    LoadStringA(CodecModule(), tag == kCodecFourCc ? kStringCodecAbout : kStringFamilyAbout, about, 1000);
    std::strcat(about, "\n\n");
    char build[64] = "";
    LoadStringA(CodecModule(), kStringBuild, build, sizeof build);
    char buildText[256] = "not available.";
    ReadSpecialBuild(buildText, sizeof buildText);
    char text[1400];
    std::snprintf(text, sizeof text, "%s%s: %s", about, build, buildText);
    SetDlgItemTextA(dialog, kControlAboutText, text);
    return TRUE;
  }
  if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
    EndDialog(dialog, LOWORD(wParam) == IDOK ? 1 : 0);
    return TRUE;
  }
  return FALSE;
}

}  // namespace

INT_PTR ShowAboutDialog(HWND parent, uint32_t tag) {
  return RunDialog(kDialogAbout, parent, AboutDialogProc, static_cast<LPARAM>(tag));
}

}  // namespace trvx
