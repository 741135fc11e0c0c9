// Reads one 4:2:2 MCU (16 x 8 pixels of one field) out of the host's input bitmap and
// writes it as four blocks of level-shifted samples x 8: RGB of 24 or 32 bits
// bottom-up, or 16-bit packed YUV top-down. The mirror of output_converter.h.
#pragma once

#include <cstdint>
#include <memory>

#include "format/frame_description.h"
#include "format/bitmap_format.h"
#include "format/mcu_workspace.h"

namespace trvx {

// Reads 8 rows of 16 pixels from source, moving by rowStep after each row: up in
// memory for RGB, down for YUV. Writes 256 samples (Y left, Y right, Cb, Cr; 8x8 each,
// row-major) to samples, which must be 16-byte aligned. Returns 0.
using InputKernel = int32_t (*)(const uint8_t* source, int16_t* samples, uint32_t rowStep);

// Kernel files call nothing inline from the headers, as for the output kernels.
int32_t InputRgb24Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb32Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb24Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb32Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb24Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb32Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb24Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb32Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb24PlainSse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputRgb32PlainSse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);

int32_t InputUyvyPlain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYuy2Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYvyuPlain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputY16Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputUyvyMmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYuy2Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYvyuMmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputY16Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputUyvySse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYuy2Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYvyuSse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputY16Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputUyvySse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYuy2Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputYvyuSse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
int32_t InputY16Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep);
// The YUV samples are the bytes x 8 less 1024 on every path: PlainSse2 takes the SSE2
// kernels.

// Kernel choice: a switch on the whole flag value, so 159 gets PlainSse2 and unknown
// values the plain kernels. Flag 1 gives MMX to UYVY only. Null when nothing matches:
// RGB needs compression 0 and 24 or 32 bits, YUV one of the four FourCCs exactly as
// stored.
InputKernel SelectRgbInputKernel(int32_t processorFlag, const BitmapHeader& inputFormat);
InputKernel SelectYuvInputKernel(int32_t processorFlag, uint32_t fourCc);

class InputConverter {
 public:
  InputConverter() = default;
  virtual ~InputConverter();
  InputConverter(const InputConverter&) = delete;
  InputConverter& operator=(const InputConverter&) = delete;

  // Once per frame, before any Convert. Reads biWidth, biHeight, biBitCount and
  // biCompression, and the field count of the description. A format without a kernel
  // faults on purpose: format negotiation must have kept it out. Returns 0.
  int32_t Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                const FrameDescription& description);
  // The same for a given processor flag instead of the detected one.
  int32_t Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                const FrameDescription& description, int32_t processorFlag);

  // Fills the four blocks with the MCU at (mcuColumn, mcuRow) of the field
  // description.fieldIndex names. MCU rows stand 16 frame lines apart. Returns 0.
  virtual int32_t Convert(const FrameDescription& description, BlockBuffer& blocks,
                          uint32_t mcuColumn, uint32_t mcuRow) const = 0;

  InputKernel kernel() const { return kernel_; }

 protected:
  // The family's kernel for the format, null when it has none.
  virtual InputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& inputFormat) const = 0;
  void TakeFrame(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                 const FrameDescription& description);
  int32_t RunKernel(uint32_t line, uint32_t mcuColumn, BlockBuffer& blocks) const;

  const uint8_t* inputBase_ = nullptr;
  int32_t height_ = 0;
  int32_t width_ = 0;
  uint32_t fieldCount_ = 0;
  uint32_t rowBytes_ = 0;
  uint32_t bytesPerPixel_ = 0;
  InputKernel kernel_ = nullptr;
};

// Bottom-up RGB: the top line of the picture is the last in the buffer.
class RgbInputConverter final : public InputConverter {
 public:
  int32_t Convert(const FrameDescription& description, BlockBuffer& blocks, uint32_t mcuColumn,
                  uint32_t mcuRow) const override;

 private:
  InputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& inputFormat) const override;
};

// Top-down packed YUV, by FourCC as stored.
class YuvInputConverter final : public InputConverter {
 public:
  int32_t Convert(const FrameDescription& description, BlockBuffer& blocks, uint32_t mcuColumn,
                  uint32_t mcuRow) const override;

 private:
  InputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& inputFormat) const override;
};

// RGB for compression 0, YUV for UYVY, YUY2, YVYU and "Y16" in any letter case, null
// otherwise. Setup still compares the FourCC as stored.
std::unique_ptr<InputConverter> MakeInputConverter(const BitmapHeader& inputFormat);

}  // namespace trvx
