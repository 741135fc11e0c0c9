// Registry access for the settings (src/settings).
#pragma once

#include <windows.h>

#include <cstdint>

namespace trvx {

// An open registry key, closed when the object goes. Reads insist on the value's type
// (and, for numbers, its size): anything else counts as missing.
class RegistryKey {
 public:
  RegistryKey() noexcept = default;
  ~RegistryKey() { Close(); }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  RegistryKey(RegistryKey&& other) noexcept : key_(other.key_) { other.key_ = nullptr; }

  bool Open(HKEY parent, const char* path, REGSAM access);
  bool Create(HKEY parent, const char* path, REGSAM access);
  bool OpenOrCreate(HKEY parent, const char* path, REGSAM access);
  void Close();

  bool ReadDword(const char* name, uint32_t* value) const;
  bool ReadString(const char* name, char* buffer, DWORD bufferSize) const;
  bool WriteDword(const char* name, uint32_t value);
  bool WriteString(const char* name, const char* text);

  HKEY Handle() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace trvx
