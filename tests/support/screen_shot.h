// Screen grabs that the Windows tests keep beside their results.
#pragma once

#include <windows.h>

#include <string>

namespace trvx::test {

// Writes what the screen shows in this area as a 24-bit .bmp file.
void SaveScreenArea(const RECT& area, const std::string& path);

}  // namespace trvx::test
