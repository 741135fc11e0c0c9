// The DLL's module handle (src/platform); the driver's entry point records it.
#pragma once

#include <windows.h>

namespace trvx {

// The DLL's own module: dialog templates, strings and the version resource live in it.
HINSTANCE CodecModule();

}  // namespace trvx
