#include "pixel/input_converter.h"

#include "format/bitmap_format.h"
#include "pixel/output_converter.h"
#include "pixel/pixel_layout.h"
#include "platform/fault_guard.h"

namespace trvx {

namespace {

constexpr KernelTable<InputKernel> kInputKernels = {
    TRVX_KERNELS_BY_PATH(InputRgb24),           TRVX_KERNELS_BY_PATH(InputRgb32),
    TRVX_KERNELS_BY_PATH_SSE2_EXACT(InputUyvy), TRVX_KERNELS_BY_PATH_SSE2_EXACT(InputYuy2),
    TRVX_KERNELS_BY_PATH_SSE2_EXACT(InputYvyu), TRVX_KERNELS_BY_PATH_SSE2_EXACT(InputY16)};

}  // namespace

InputKernel SelectRgbInputKernel(int32_t processorFlag, const BitmapHeader& inputFormat) {
  if (inputFormat.compression != 0) return nullptr;
  return KernelFor(kInputKernels, RgbLayout(inputFormat.bitCount), PixelKernelPath(processorFlag));
}

InputKernel SelectYuvInputKernel(int32_t processorFlag, uint32_t fourCc) {
  auto path = PixelKernelPath(processorFlag);
  // An AMD with plain MMX gets the MMX kernel for UYVY only; kept as the codec always did.
  if (processorFlag == kProcessorAmdMmx && fourCc != kUyvyFourCc) path = KernelPath::Plain;
  return KernelFor(kInputKernels, YuvLayout(fourCc), path);
}

InputConverter::~InputConverter() = default;

int32_t InputConverter::Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                              const FrameDescription& description) {
  return Setup(inputBits, inputFormat, description, DetectProcessor());
}

int32_t InputConverter::Setup(const uint8_t* inputBits, const BitmapHeader& inputFormat,
                              const FrameDescription& description, int32_t processorFlag) {
  TakeFrame(inputBits, inputFormat, description);
  kernel_ = SelectKernel(processorFlag, inputFormat);
  if (kernel_ == nullptr) DeliberateFault();
  return 0;
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
  const uint8_t* source = inputBase_ + std::size_t{line} * rowBytes_ + std::size_t{bytesPerPixel_} * 16 * mcuColumn;
  return kernel_(source, blocks.coefficients, fieldCount_ * rowBytes_);
}

InputKernel RgbInputConverter::SelectKernel(int32_t processorFlag, const BitmapHeader& inputFormat) const {
  return SelectRgbInputKernel(processorFlag, inputFormat);
}

int32_t RgbInputConverter::Convert(const FrameDescription& description, BlockBuffer& blocks, uint32_t mcuColumn,
                                   uint32_t mcuRow) const {
  // Bottom-up: the top line of the picture is the last in the buffer.
  const uint32_t line = static_cast<uint32_t>(height_) - 16 * mcuRow - description.fieldIndex - 1;
  return RunKernel(line, mcuColumn, blocks);
}

InputKernel YuvInputConverter::SelectKernel(int32_t processorFlag, const BitmapHeader& inputFormat) const {
  // As stored, not upper-cased: a lower-case FourCC reaching here is an internal error.
  return SelectYuvInputKernel(processorFlag, inputFormat.compression);
}

int32_t YuvInputConverter::Convert(const FrameDescription& description, BlockBuffer& blocks, uint32_t mcuColumn,
                                   uint32_t mcuRow) const {
  return RunKernel(description.fieldIndex + 16 * mcuRow, mcuColumn, blocks);
}

std::unique_ptr<InputConverter> MakeInputConverter(const BitmapHeader& inputFormat) {
  // The input side accepts exactly what the output side does.
  const int32_t family = ClassifyOutputFormat(inputFormat);
  if (family == kOutputClassRgb) return std::make_unique<RgbInputConverter>();
  if (family == kOutputClassYuv) return std::make_unique<YuvInputConverter>();
  return nullptr;
}

}  // namespace trvx
