// Writes decoded 4:2:2 MCUs (16 x 8 pixels) into the host's output bitmap: RGB of 24
// or 32 bits bottom-up, or 16-bit packed YUV top-down.
#pragma once

#include <cstdint>
#include <memory>

#include "format/frame_description.h"
#include "format/mcu_workspace.h"
#include "format/bitmap_format.h"

namespace trvx {

// What ClassifyOutputFormat answers; the values are the ones the session setup tests.
constexpr int32_t kOutputClassYuv = 12345;
constexpr int32_t kOutputClassRgb = 12346;
constexpr int32_t kOutputClassRefused = 12347;

constexpr int32_t kOutputSetupFailed = static_cast<int32_t>(0x80004005u);
// Convert before Setup found a kernel; the format negotiation should make it impossible.
constexpr int32_t kOutputNoKernel = -100;

// Blocked 4:2:2: per row 8 Y, 8 Y, 8 Cb, 8 Cr. Its FourCC has only three characters.

// biCompression 0 is RGB; UYVY, YUY2, YVYU and "Y16" in any letter case are YUV.
int32_t ClassifyOutputFormat(const BitmapHeader& outputFormat);

// Writes one MCU of 8 rows: 256 samples (Y left, Y right, Cb, Cr; 8x8 each, row-major)
// to dest, moving by rowStep after each row: down in memory for YUV, up for RGB.
// The plain kernels and their PlainSse2 twins expect samples x 8, the vector kernels
// x 16. Returns 0.
using OutputKernel = int32_t (*)(uint8_t* dest, const int16_t* samples, uint32_t rowStep);

// The kernel files call nothing inline from this header: the linker could otherwise
// keep a copy built for an instruction set this processor lacks.
int32_t OutputRgb24Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb32Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb24Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb32Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb24Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb32Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb24Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb32Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb24PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputRgb32PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);

int32_t OutputUyvyPlain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYuy2Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYvyuPlain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputY16Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputUyvyMmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYuy2Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYvyuMmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputY16Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputUyvySse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYuy2Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYvyuSse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputY16Sse(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputUyvySse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYuy2Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYvyuSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputY16Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputUyvyPlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYuy2PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputYvyuPlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);
int32_t OutputY16PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep);

// The SSE kernels' stores are non-temporal and not fenced: a fence after every MCU
// makes the next MCU's loads wait for the stores to drain. One fence per field makes
// them visible before the field is handed on.
void FenceStreamingStores();

// Kernel choice: a switch on the whole flag value, so an AMD with SSE2 (159) gets
// PlainSse2 and any unknown value the plain kernels. Null when the depth or FourCC has
// none.
OutputKernel SelectRgbOutputKernel(int32_t processorFlag, uint8_t bytesPerPixel);
OutputKernel SelectYuvOutputKernel(int32_t processorFlag, uint32_t fourCc);

class OutputConverter {
 public:
  OutputConverter() = default;
  virtual ~OutputConverter();
  OutputConverter(const OutputConverter&) = delete;
  OutputConverter& operator=(const OutputConverter&) = delete;

  // Writes the MCU at (mcuColumn, mcuRow) of the field description.fieldIndex names.
  // Any field index but 0 or 1 faults on purpose. kOutputNoKernel without a kernel.
  virtual int32_t Convert(const FrameDescription& description, const McuWorkspace& workspace,
                          uint32_t mcuColumn, uint32_t mcuRow) const = 0;

  // Once per frame, before any Convert. Reads biBitCount and biCompression of the
  // output format and the field count, size and sampling of the description.
  // Sampling other than 4:2:2 succeeds but leaves no kernel.
  int32_t Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                const FrameDescription& description);
  // The same for a given processor flag instead of the detected one.
  virtual int32_t Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                        const FrameDescription& description, int32_t processorFlag);

  OutputKernel kernel() const { return kernel_; }

  // After a field's last Convert, on the thread that converted it.
  void FinishField() const;

 protected:
  // The family's kernel for the format, null when it has none.
  virtual OutputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& outputFormat) const = 0;
  // Stores what both families keep; false unless the sampling is 4:2:2.
  bool TakeFrame(uint8_t* outputBits, const FrameDescription& description, int32_t processorFlag);
  int32_t RunKernel(uint8_t* dest, const McuWorkspace& workspace) const;

  uint8_t* outputBase_ = nullptr;
  uint32_t rowBytes_ = 0;
  OutputKernel kernel_ = nullptr;
  void (*finishField_)() = nullptr;
  uint8_t bytesPerPixel_ = 0;
  uint8_t fieldCount_ = 0;
  uint32_t width_ = 0;
  uint32_t fieldHeight_ = 0;
};

// Bottom-up RGB of 24 or 32 bits.
class RgbOutputConverter final : public OutputConverter {
 public:
  int32_t Convert(const FrameDescription& description, const McuWorkspace& workspace,
                  uint32_t mcuColumn, uint32_t mcuRow) const override;

 private:
  OutputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& outputFormat) const override;
};

// Top-down packed YUV; any depth but 16 bits fails its Setup.
class YuvOutputConverter final : public OutputConverter {
 public:
  using OutputConverter::Setup;
  int32_t Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                const FrameDescription& description, int32_t processorFlag) override;
  int32_t Convert(const FrameDescription& description, const McuWorkspace& workspace,
                  uint32_t mcuColumn, uint32_t mcuRow) const override;

 private:
  OutputKernel SelectKernel(int32_t processorFlag, const BitmapHeader& outputFormat) const override;
};

// Null for a format ClassifyOutputFormat refuses.
std::unique_ptr<OutputConverter> MakeOutputConverter(const BitmapHeader& outputFormat);

}  // namespace trvx
