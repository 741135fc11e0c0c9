# 64-bit Windows build: proves the portable pieces (the fault guard) on x86-64;
# the codec itself ships 32-bit.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(TRVX_MINGW_PREFIX x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
