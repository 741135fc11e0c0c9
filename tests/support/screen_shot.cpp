#include "support/screen_shot.h"

#include <fstream>

#include "support/codec_library.h"

namespace trvx::test {

void SaveScreenArea(const RECT& area, const std::string& path) {
  BITMAPINFOHEADER header = Bitmap(BI_RGB, 24, area.right - area.left, area.bottom - area.top);
  const HDC screen = GetDC(nullptr);
  const HDC memory = CreateCompatibleDC(screen);
  void* bits = nullptr;
  const HBITMAP picture =
      CreateDIBSection(screen, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS, &bits, nullptr, 0);
  const HGDIOBJ old = SelectObject(memory, picture);
  BitBlt(memory, 0, 0, header.biWidth, header.biHeight, screen, area.left, area.top, SRCCOPY);
  GdiFlush();
  const DWORD imageBytes = ((header.biWidth * 3 + 3) & ~3) * header.biHeight;
  BITMAPFILEHEADER file = {};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof file + sizeof header;
  file.bfSize = file.bfOffBits + imageBytes;
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(&file), sizeof file);
  out.write(reinterpret_cast<const char*>(&header), sizeof header);
  out.write(static_cast<const char*>(bits), imageBytes);
  SelectObject(memory, old);
  DeleteObject(picture);
  DeleteDC(memory);
  ReleaseDC(nullptr, screen);
}

}  // namespace trvx::test
