#include "pixel/output_converter.h"

#include "format/bitmap_format.h"
#include "pixel/pixel_layout.h"
#include "platform/fault_guard.h"

namespace trvx {

int32_t ClassifyOutputFormat(const BitmapHeader& outputFormat) {
  switch (ClassifyFormat(outputFormat)) {
    case FormatClass::Rgb:
      return kOutputClassRgb;
    case FormatClass::PackedYuv:
      return kOutputClassYuv;
    case FormatClass::Other:
      break;
  }
  return kOutputClassRefused;
}

namespace {

constexpr KernelTable<OutputKernel> kOutputKernels = {
    TRVX_KERNELS_BY_PATH(OutputRgb24), TRVX_KERNELS_BY_PATH(OutputRgb32), TRVX_KERNELS_BY_PATH(OutputUyvy),
    TRVX_KERNELS_BY_PATH(OutputYuy2),  TRVX_KERNELS_BY_PATH(OutputYvyu),  TRVX_KERNELS_BY_PATH(OutputY16)};

}  // namespace

OutputKernel SelectRgbOutputKernel(int32_t processorFlag, uint8_t bytesPerPixel) {
  return KernelFor(kOutputKernels, RgbLayout(bytesPerPixel * 8u), PixelKernelPath(processorFlag));
}

OutputKernel SelectYuvOutputKernel(int32_t processorFlag, uint32_t fourCc) {
  return KernelFor(kOutputKernels, YuvLayout(fourCc), PixelKernelPath(processorFlag));
}

OutputConverter::~OutputConverter() = default;

int32_t OutputConverter::Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                               const FrameDescription& description) {
  return Setup(outputBits, outputFormat, description, DetectProcessor());
}

int32_t OutputConverter::Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                               const FrameDescription& description, int32_t processorFlag) {
  bytesPerPixel_ = static_cast<uint8_t>(outputFormat.bitCount >> 3);
  if (!TakeFrame(outputBits, description, processorFlag)) return 0;
  kernel_ = SelectKernel(processorFlag, outputFormat);
  return 0;
}

bool OutputConverter::TakeFrame(uint8_t* outputBits, const FrameDescription& description, int32_t processorFlag) {
  outputBase_ = outputBits;
  rowBytes_ = bytesPerPixel_ * description.width;
  fieldCount_ = description.fieldCount;
  width_ = description.width;
  fieldHeight_ = description.height;
  // A frame Setup cannot convert must not keep the previous frame's kernel.
  kernel_ = nullptr;
  finishField_ = PixelKernelPath(processorFlag) == KernelPath::Sse ? FenceStreamingStores : nullptr;
  const uint8_t* s = description.sampling;
  const int luma = s[0] * s[1];
  const int cb = s[2] * s[3];
  const int cr = s[4] * s[5];
  return luma == 2 && cb == 1 && cr == 1;
}

void OutputConverter::FinishField() const {
  if (finishField_ != nullptr) finishField_();
}

int32_t OutputConverter::RunKernel(uint8_t* dest, const McuWorkspace& workspace) const {
  if (kernel_ == nullptr) return kOutputNoKernel;
  return kernel_(dest, workspace.coefficients, uint32_t{fieldCount_} * rowBytes_);
}

OutputKernel RgbOutputConverter::SelectKernel(int32_t processorFlag, const BitmapHeader&) const {
  return SelectRgbOutputKernel(processorFlag, bytesPerPixel_);
}

int32_t RgbOutputConverter::Convert(const FrameDescription& description, const McuWorkspace& workspace,
                                    uint32_t mcuColumn, uint32_t mcuRow) const {
  // Bottom-up: the MCU's top row is the highest line of its eight.
  uint32_t line = (fieldHeight_ - 8 * mcuRow) * fieldCount_ - 1;
  if (description.fieldIndex == 1) {
    line -= 1;
  } else if (description.fieldIndex != 0) {
    DeliberateFault();
  }
  uint8_t* dest = outputBase_ + std::size_t{line} * rowBytes_ + std::size_t{bytesPerPixel_} * 16 * mcuColumn;
  return RunKernel(dest, workspace);
}

int32_t YuvOutputConverter::Setup(uint8_t* outputBits, const BitmapHeader& outputFormat,
                                  const FrameDescription& description, int32_t processorFlag) {
  if (outputFormat.bitCount >> 3 == 2)
    return OutputConverter::Setup(outputBits, outputFormat, description, processorFlag);
  bytesPerPixel_ = static_cast<uint8_t>(outputFormat.bitCount >> 3);
  outputBase_ = outputBits;
  kernel_ = nullptr;
  return kOutputSetupFailed;
}

OutputKernel YuvOutputConverter::SelectKernel(int32_t processorFlag, const BitmapHeader& outputFormat) const {
  // As stored, not upper-cased: a lower-case FourCC passes the classifier but gets
  // no kernel here.
  return SelectYuvOutputKernel(processorFlag, outputFormat.compression);
}

int32_t YuvOutputConverter::Convert(const FrameDescription& description, const McuWorkspace& workspace,
                                    uint32_t mcuColumn, uint32_t mcuRow) const {
  std::size_t line = std::size_t{fieldCount_} * 8 * mcuRow;
  if (description.fieldIndex == 1) {
    line += 1;
  } else if (description.fieldIndex != 0) {
    DeliberateFault();
  }
  uint8_t* dest = outputBase_ + line * rowBytes_ + std::size_t{bytesPerPixel_} * 16 * mcuColumn;
  return RunKernel(dest, workspace);
}

std::unique_ptr<OutputConverter> MakeOutputConverter(const BitmapHeader& outputFormat) {
  switch (ClassifyOutputFormat(outputFormat)) {
    case kOutputClassRgb:
      return std::make_unique<RgbOutputConverter>();
    case kOutputClassYuv:
      return std::make_unique<YuvOutputConverter>();
    default:
      return nullptr;
  }
}

}  // namespace trvx
