#include "platform/ansi_text.h"

#include <windows.h>

namespace trvx {

void UpperCaseAnsi(char* text, std::size_t length) {
  CharUpperBuffA(text, static_cast<DWORD>(length));
}

void LowerCaseAnsi(char* text, std::size_t length) {
  CharLowerBuffA(text, static_cast<DWORD>(length));
}

}  // namespace trvx
