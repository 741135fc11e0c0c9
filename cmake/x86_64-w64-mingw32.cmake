# Cross build of the 64-bit codec DLL, for 64-bit hosts, and its Windows tests.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(TRVX_MINGW_PREFIX x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
