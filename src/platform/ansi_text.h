// Case mapping of the host's single-byte text (src/platform), for FourCCs and
// program names.
#pragma once

#include <cstddef>

namespace trvx {

// Case mapping of single-byte text in the system's ANSI code page. On Windows this is
// the user's code page; natively (tests only) it is plain ASCII.
void UpperCaseAnsi(char* text, std::size_t length);
void LowerCaseAnsi(char* text, std::size_t length);

}  // namespace trvx
