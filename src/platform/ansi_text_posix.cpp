#include "platform/ansi_text.h"

namespace trvx {

void UpperCaseAnsi(char* text, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<char>(text[i] - 'a' + 'A');
  }
}

void LowerCaseAnsi(char* text, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] >= 'A' && text[i] <= 'Z') text[i] = static_cast<char>(text[i] - 'A' + 'a');
  }
}

}  // namespace trvx
