#pragma once

#include <windows.h>
// vfw.h needs windows.h first.
#include <vfw.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trvx::test {

// The built trvx.dll, loaded directly: one attach when made, one detach when gone
// (as long as nothing else holds the library).
class CodecLibrary {
 public:
  CodecLibrary();
  ~CodecLibrary();
  CodecLibrary(const CodecLibrary&) = delete;
  CodecLibrary& operator=(const CodecLibrary&) = delete;

  LRESULT Send(DWORD_PTR driverId, UINT message, LPARAM lParam1 = 0, LPARAM lParam2 = 0) const;
  // DRV_OPEN with an ICOPEN record, as the Video Compression Manager does it.
  DWORD_PTR Open() const;

 private:
  HMODULE module_;
  DRIVERPROC driverProc_;
};

std::string CodecPath();
// Registers trvx.dll as the "vidc.TRVX" driver of this prefix.
bool InstallCodec();

// Removes every registry key the codec keeps, so the next attach starts afresh.
void DeleteCodecRegistryKeys();

uint32_t FourCc(const char (&text)[5]);

BITMAPINFOHEADER Bitmap(DWORD compression, WORD bitCount, LONG width, LONG height, DWORD headerSize = 40);

// The instance's "Change fields order" value, set through its state blob.
void SetChangeFieldsOrder(HIC codec, uint32_t value);

// The frame reader scans a fixed window whatever the frame's length: inputs carry padding.
constexpr std::size_t kFramePadding = 0x10400 + 0x10000 + 64;

// A file in the directory an environment variable names: the native build's frames and
// reference decodes in TRVX_TESTDATA, other encoders' AVIs in TRVX_FOREIGN_AVIS.
std::string TestPath(const std::string& name, const char* variable = "TRVX_TESTDATA");
// Its bytes; empty when it is missing.
std::vector<uint8_t> ReadTestData(const std::string& name, const char* variable = "TRVX_TESTDATA");

}  // namespace trvx::test
