#include "pixel/input_converter.h"

#include "pixel/output_converter.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "format/bitmap_format.h"

namespace trvx {

InputKernel SelectRgbInputKernel(int32_t processorFlag, const BitmapHeader& inputFormat) {
  static constexpr InputKernel kRgb24[] = {InputRgb24Plain, InputRgb24Mmx, InputRgb24Sse,
                                           InputRgb24Sse2};
  static constexpr InputKernel kRgb32[] = {InputRgb32Plain, InputRgb32Mmx, InputRgb32Sse,
                                           InputRgb32Sse2};
  if (inputFormat.compression != 0) return nullptr;
  const auto path = static_cast<int>(PixelKernelPath(processorFlag));
  if (inputFormat.bitCount == 24) return kRgb24[path];
  if (inputFormat.bitCount == 32) return kRgb32[path];
  return nullptr;
}

InputKernel SelectYuvInputKernel(int32_t processorFlag, uint32_t fourCc) {
  static constexpr InputKernel kUyvyKernels[] = {InputUyvyPlain, InputUyvyMmx, InputUyvySse,
                                                 InputUyvySse2};
  static constexpr InputKernel kYuy2Kernels[] = {InputYuy2Plain, InputYuy2Mmx, InputYuy2Sse,
                                                 InputYuy2Sse2};
  static constexpr InputKernel kYvyuKernels[] = {InputYvyuPlain, InputYvyuMmx, InputYvyuSse,
                                                 InputYvyuSse2};
  static constexpr InputKernel kY16Kernels[] = {InputY16Plain, InputY16Mmx, InputY16Sse,
                                                InputY16Sse2};
  auto path = PixelKernelPath(processorFlag);
  // An AMD with plain MMX gets the MMX kernel for UYVY only; kept as the codec always did.
  if (processorFlag == kProcessorAmdMmx && fourCc != kUyvyFourCc) path = KernelPath::Plain;
  const auto index = static_cast<int>(path);
  switch (fourCc) {
    case kUyvyFourCc: return kUyvyKernels[index];
    case kYuy2FourCc: return kYuy2Kernels[index];
    case kYvyuFourCc: return kYvyuKernels[index];
    case kY16FourCc: return kY16Kernels[index];
    default: return nullptr;
  }
}

InputConverter::~InputConverter() = default;

int32_t InputConverter::Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                              const FrameDescription& description) {
  return Setup(inputBits, inputFormat, description, DetectProcessor());
}

void InputConverter::TakeFrame(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                               const FrameDescription& description) {
  inputBase_ = inputBits;
  bytesPerPixel_ = uint32_t{inputFormat.bitCount} >> 3;
  rowBytes_ = static_cast<uint32_t>(inputFormat.width) * bytesPerPixel_;
  width_ = inputFormat.width;
  height_ = inputFormat.height;
  fieldCount_ = description.fieldCount;
}

int32_t InputConverter::RunKernel(uint32_t line, uint32_t mcuColumn, BlockBuffer& blocks) const {
  const uint8_t* source =
      inputBase_ + std::size_t{line} * rowBytes_ + std::size_t{bytesPerPixel_} * 16 * mcuColumn;
  return kernel_(source, blocks.coefficients, fieldCount_ * rowBytes_);
}

int32_t RgbInputConverter::Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                                 const FrameDescription& description, int32_t processorFlag) {
  TakeFrame(inputBits, inputFormat, description);
  kernel_ = SelectRgbInputKernel(processorFlag, inputFormat);
  if (kernel_ == nullptr) DeliberateFault();
  return 0;
}

int32_t RgbInputConverter::Convert(const FrameDescription& description, BlockBuffer& blocks,
                                   uint32_t mcuColumn, uint32_t mcuRow) const {
  // Bottom-up: the top line of the picture is the last in the buffer.
  const uint32_t line = static_cast<uint32_t>(height_) - 16 * mcuRow - description.fieldIndex - 1;
  return RunKernel(line, mcuColumn, blocks);
}

int32_t YuvInputConverter::Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                                 const FrameDescription& description, int32_t processorFlag) {
  TakeFrame(inputBits, inputFormat, description);
  // As stored, not upper-cased: a lower-case FourCC reaching here is an internal error.
  kernel_ = SelectYuvInputKernel(processorFlag, inputFormat.compression);
  if (kernel_ == nullptr) DeliberateFault();
  return 0;
}

int32_t YuvInputConverter::Convert(const FrameDescription& description, BlockBuffer& blocks,
                                   uint32_t mcuColumn, uint32_t mcuRow) const {
  return RunKernel(description.fieldIndex + 16 * mcuRow, mcuColumn, blocks);
}

std::unique_ptr<InputConverter> MakeInputConverter(const BitmapHeader& inputFormat) {
  // The input side accepts exactly what the output side does.
  switch (ClassifyOutputFormat(inputFormat)) {
    case kOutputClassRgb:
      return std::make_unique<RgbInputConverter>();
    case kOutputClassYuv:
      return std::make_unique<YuvInputConverter>();
    default:
      return nullptr;
  }
}

}  // namespace trvx
