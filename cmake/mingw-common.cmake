# Shared part of the mingw-w64 toolchain files; TRVX_MINGW_PREFIX is set by the includer.
# The posix variant is required: its C++ runtime links statically with std::thread.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TRVX_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TRVX_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${TRVX_MINGW_PREFIX}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TRVX_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
