#include "support/codec_library.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace trvx::test {

std::string CodecPath() {
  char path[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
  std::string directory(path, length);
  return directory.substr(0, directory.find_last_of('\\') + 1) + "trvx.dll";
}

CodecLibrary::CodecLibrary() : module_(LoadLibraryA(CodecPath().c_str())) {
  if (module_ == nullptr) throw std::runtime_error("trvx.dll does not load");
  driverProc_ = reinterpret_cast<DRIVERPROC>(reinterpret_cast<void*>(GetProcAddress(module_, "DriverProc")));
  if (driverProc_ == nullptr) throw std::runtime_error("trvx.dll has no DriverProc");
}

CodecLibrary::~CodecLibrary() { FreeLibrary(module_); }

LRESULT CodecLibrary::Send(DWORD_PTR driverId, UINT message, LPARAM lParam1, LPARAM lParam2) const {
  return driverProc_(driverId, nullptr, message, lParam1, lParam2);
}

DWORD_PTR CodecLibrary::Open() const {
  ICOPEN open = {};
  open.dwSize = sizeof open;
  open.fccType = ICTYPE_VIDEO;
  open.fccHandler = mmioFOURCC('T', 'R', 'V', 'X');
  open.dwFlags = ICMODE_COMPRESS | ICMODE_DECOMPRESS;
  return static_cast<DWORD_PTR>(Send(0, DRV_OPEN, 0, reinterpret_cast<LPARAM>(&open)));
}

bool InstallCodec() {
  const std::string path = CodecPath();
  return ICInstall(ICTYPE_VIDEO, mmioFOURCC('T', 'R', 'V', 'X'), reinterpret_cast<LPARAM>(path.c_str()), nullptr,
                   ICINSTALL_DRIVER) != FALSE;
}

void DeleteCodecRegistryKeys() {
  for (const char* path :
       {"SoftWare\\Korvantelix\\Common codec's settings\\YUV defective application",
        "SoftWare\\Korvantelix\\Common codec's settings", "Software\\Korvantelix\\MJPG codec", "Software\\Korvantelix",
        "Software\\Pellacorte\\Onderwane\\Codec", "Software\\Pellacorte\\Onderwane", "Software\\Pellacorte"}) {
    RegDeleteKeyA(HKEY_CLASSES_ROOT, path);
  }
}

std::string TestPath(const std::string& name, const char* variable) {
  const char* directory = std::getenv(variable);
  return std::string(directory != nullptr ? directory : ".") + "\\" + name;
}

std::vector<uint8_t> ReadTestData(const std::string& name, const char* variable) {
  std::ifstream file(TestPath(name, variable), std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

uint32_t FourCc(const char (&text)[5]) { return mmioFOURCC(text[0], text[1], text[2], text[3]); }

BITMAPINFOHEADER Bitmap(DWORD compression, WORD bitCount, LONG width, LONG height, DWORD headerSize) {
  BITMAPINFOHEADER header = {};
  header.biSize = headerSize;
  header.biWidth = width;
  header.biHeight = height;
  header.biPlanes = 1;
  header.biBitCount = bitCount;
  header.biCompression = compression;
  header.biSizeImage = static_cast<DWORD>(width * (height < 0 ? -height : height) * bitCount / 8);
  return header;
}

void SetChangeFieldsOrder(HIC codec, uint32_t value) {
  static uint8_t state[8264];
  ICGetState(codec, state, sizeof state);
  std::memcpy(state + 4, &value, sizeof value);
  ICSetState(codec, state, sizeof state);
}

}  // namespace trvx::test
