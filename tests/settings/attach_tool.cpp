// Loads and unloads trvx.dll once: one process attach, as a host's first ICOpen does.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

int main() {
  char path[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
  std::string codec(path, length);
  codec = codec.substr(0, codec.find_last_of('\\') + 1) + "trvx.dll";
  HMODULE module = LoadLibraryA(codec.c_str());
  if (module == nullptr) {
    std::printf("trvx.dll did not load\n");
    return 1;
  }
  FreeLibrary(module);
  std::printf("attached and detached\n");
  return 0;
}
