# Cross build of the 32-bit codec DLL and its Windows tests.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TRVX_MINGW_PREFIX i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
