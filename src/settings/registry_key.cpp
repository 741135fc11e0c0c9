#include "settings/registry_key.h"

#include <cstring>

namespace trvx {

bool RegistryKey::Open(HKEY parent, const char* path, REGSAM access) {
  Close();
  if (RegOpenKeyExA(parent, path, 0, access, &key_) != ERROR_SUCCESS) {
    key_ = nullptr;
    return false;
  }
  return true;
}

bool RegistryKey::Create(HKEY parent, const char* path, REGSAM access) {
  Close();
  char emptyClass[] = "";
  if (RegCreateKeyExA(parent, path, 0, emptyClass, REG_OPTION_NON_VOLATILE, access, nullptr, &key_, nullptr) !=
      ERROR_SUCCESS) {
    key_ = nullptr;
    return false;
  }
  return true;
}

bool RegistryKey::OpenOrCreate(HKEY parent, const char* path, REGSAM access) {
  return Open(parent, path, access) || Create(parent, path, access);
}

void RegistryKey::Close() {
  if (key_ != nullptr) RegCloseKey(key_);
  key_ = nullptr;
}

bool RegistryKey::ReadDword(const char* name, uint32_t* value) const {
  DWORD type = 0;
  DWORD data = 0;
  DWORD size = sizeof data;
  if (RegQueryValueExA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&data), &size) != ERROR_SUCCESS ||
      type != REG_DWORD || size != sizeof data) {
    return false;
  }
  *value = data;
  return true;
}

bool RegistryKey::ReadString(const char* name, char* buffer, DWORD bufferSize) const {
  DWORD type = 0;
  DWORD size = bufferSize;
  if (RegQueryValueExA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS ||
      type != REG_SZ) {
    buffer[0] = '\0';
    return false;
  }
  // A value stored without its terminator still ends inside the buffer.
  buffer[size < bufferSize ? size : bufferSize - 1] = '\0';
  return true;
}

bool RegistryKey::WriteDword(const char* name, uint32_t value) {
  const DWORD data = value;
  return RegSetValueExA(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof data) ==
         ERROR_SUCCESS;
}

bool RegistryKey::WriteString(const char* name, const char* text) {
  return RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                        static_cast<DWORD>(std::strlen(text) + 1)) == ERROR_SUCCESS;
}

}  // namespace trvx
