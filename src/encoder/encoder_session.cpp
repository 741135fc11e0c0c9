#include "encoder/encoder_session.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "format/icm_results.h"
#include "encoder/huffman_code_tables.h"
#include "pixel/memory_routines.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"

namespace trvx {

namespace {

constexpr std::size_t kQuantTableAreaBytes = 512;
constexpr std::size_t kTableBytes = 2 * kBlockSize * sizeof(uint16_t);
constexpr std::size_t kCodeTableBytes = kHuffmanCodeTableEntries * sizeof(uint32_t);
constexpr uint8_t kFieldSampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};

}  // namespace

uint32_t EncodeField(const EncodeJob& job) {
  const FrameDescription& description = *job.description;
  BlockBuffer& blocks = *job.blocks;
  job.writer->BeginField(description);
  const uint8_t* sampling = description.sampling;
  blocks.blocksPerMcu =
      static_cast<uint16_t>(sampling[0] * sampling[1] + sampling[2] * sampling[3] + sampling[4] * sampling[5]);
  // A partial MCU at the right or bottom edge is not coded.
  const uint32_t mcuColumns = description.width / (8u * sampling[0]);
  const uint32_t mcuRows = description.height / (description.fieldCount * sampling[1] * 8u);
  for (uint32_t row = 0; row < mcuRows; ++row) {
    for (uint32_t column = 0; column < mcuColumns; ++column) {
      job.converter->Convert(description, blocks, column, row);
      job.kernels.fdct(blocks);
      job.kernels.reorder(blocks);
      job.kernels.quantise(description, blocks);
      job.writer->EncodeMcu(blocks);
    }
  }
  job.writer->Flush();
  return job.writer->BytesWritten();
}

void EncoderSession::Field::Prepare() {
  quantTableArea.Allocate(kQuantTableAreaBytes);
  if (!quantTableArea.empty()) std::memset(quantTableArea.data(), 0, kQuantTableAreaBytes);
  description = FrameDescription();
  description.quantTables = reinterpret_cast<uint16_t*>(quantTableArea.data());
  blocks.Allocate();
}

void EncoderSession::Field::Release() {
  quantTableArea.Release();
  description.quantTables = nullptr;
  blocks.Release();
  writer.reset();
}

EncoderSession::EncoderSession(ProcessorCountQuery processorCount) noexcept : processorCountQuery_(processorCount) {}

EncoderSession::~EncoderSession() { End(); }

int32_t EncoderSession::SetQuality(uint32_t quality) {
  if (quality > kMaxQuality) return kIcmUnsupported;
  if (quality == quality_) return kIcmOk;
  quality_ = BuildQuantTables(quality, quantTables_, quantTables_ + kBlockSize);
  BuildReciprocals(quantTables_, reciprocals_);
  PublishTables();
  return kIcmOk;
}

void EncoderSession::PublishTables() {
  if (!active_) return;
  for (Field& field : fields_) {
    if (field.description.quantTables == nullptr) continue;
    std::memcpy(field.description.quantTables, quantTables_, kTableBytes);
    field.description.quantTableCount = 2;
  }
  if (!reciprocalArea_.empty()) std::memcpy(reciprocalArea_.data(), reciprocals_, kTableBytes);
}

int32_t EncoderSession::Begin(const BitmapHeader* inputFormat, const BitmapHeader* /*outputFormat*/) {
  processor_ = DetectProcessor();
  kernels_ = SelectEncoderKernels(processor_);
  if (kernels_.packedTables) {
    PreparePackedDctTables();
  } else {
    PrepareDctTables();
  }
  converter_ = MakeInputConverter(*inputFormat);
  // The front end lets no other input through; reaching here is an internal error.
  if (!converter_) DeliberateFault();

  processorCount_ = processorCountQuery_();
  fields_[0].Prepare();
  fields_[0].writer = MakeEntropyWriter(processor_);
  if (processorCount_ >= 2) {
    fields_[1].Prepare();
    fields_[1].writer = MakeEntropyWriter(processor_);
    // A host may leave biSizeImage at 0; the second field image must still fit.
    const std::size_t pictureBytes = static_cast<std::size_t>(inputFormat->bitCount / 8) *
                                     static_cast<uint32_t>(std::abs(inputFormat->width)) *
                                     static_cast<uint32_t>(std::abs(inputFormat->height));
    scratch_.Allocate(std::max<std::size_t>(inputFormat->sizeImage, pictureBytes));
    worker_.Launch(&EncoderSession::RunWorkerJob, this);
  }
  reciprocalArea_.Allocate(kTableBytes);
  lumaCodes_.Allocate(kCodeTableBytes);
  chromaCodes_.Allocate(kCodeTableBytes);
  FillHuffmanCodeTables(reinterpret_cast<uint32_t*>(lumaCodes_.data()), reinterpret_cast<uint32_t*>(chromaCodes_.data()));
  active_ = true;
  // The tables of a quality set before the session are carried into its areas.
  if (quality_ != kNoQuality) PublishTables();
  return kIcmOk;
}

void EncoderSession::DescribeField(Field& field, const BitmapHeader& inputFormat, uint8_t fieldIndex) {
  FrameDescription& description = field.description;
  description.fieldCount = 2;
  description.fieldIndex = fieldIndex;
  description.width = static_cast<uint32_t>(inputFormat.width);
  description.height = static_cast<uint32_t>(inputFormat.height);
  description.lumaCodeTable = reinterpret_cast<const uint32_t*>(lumaCodes_.data());
  description.chromaCodeTable = reinterpret_cast<const uint32_t*>(chromaCodes_.data());
  description.reciprocals = reinterpret_cast<const int16_t*>(reciprocalArea_.data());
  std::memcpy(description.sampling, kFieldSampling, sizeof kFieldSampling);
}

int32_t EncoderSession::RunWorkerJob(void* session) {
  EncoderSession& self = *static_cast<EncoderSession*>(session);
  self.workerBytes_ = EncodeField(self.workerJob_);
  return 0;
}

int32_t EncoderSession::Compress(BitmapHeader* outputFormat, uint8_t* outputBits, const BitmapHeader* inputFormat,
                                 const uint8_t* inputBits, uint32_t quality) {
  if (!active_) return kIcmError;
  const MmxStateCleanup mmxCleanup(UsesVectorKernels(processor_));
  // A quality above the scale keeps the tables there are; a first frame gets the default.
  if (SetQuality(quality) != kIcmOk && quality_ == kNoQuality) SetQuality(kDefaultQuality);

  Field& first = fields_[0];
  DescribeField(first, *inputFormat, 0);
  converter_->Setup(inputBits, *inputFormat, first.description);
  const uint32_t headerBytes = headers_.WriteHeaders(outputBits, first.description);
  first.writer->SetOutput(outputBits + headerBytes);

  uint32_t firstBytes = 0;
  uint32_t secondBytes = 0;
  if (processorCount_ < 2) {
    firstBytes = EncodeField({&first.description, &first.blocks, first.writer.get(), converter_.get(), kernels_});
    uint8_t* second = outputBits + headerBytes + firstBytes;
    second += headers_.WriteTrailer(second, 0);
    first.description.fieldIndex = 1;
    headers_.WriteHeaders(second, first.description);
    first.writer->SetOutput(second + headerBytes);
    secondBytes = EncodeField({&first.description, &first.blocks, first.writer.get(), converter_.get(), kernels_});
    headers_.WriteTrailer(second + headerBytes + secondBytes, 1);
  } else {
    Field& other = fields_[1];
    DescribeField(other, *inputFormat, 1);
    uint8_t* scratch = scratch_.data();
    headers_.WriteHeaders(scratch, other.description);
    other.writer->SetOutput(scratch + headerBytes);
    workerJob_ = {&other.description, &other.blocks, other.writer.get(), converter_.get(), kernels_};
    worker_.Start();
    firstBytes = EncodeField({&first.description, &first.blocks, first.writer.get(), converter_.get(), kernels_});
    worker_.WaitUntilDone();
    secondBytes = workerBytes_;
    // The header writer remembers the second image: the first image keeps zero sizes
    // and offsets, and decoders find the second field after the first one's data.
    uint8_t* secondImage = outputBits + headerBytes + firstBytes;
    secondImage += headers_.WriteTrailer(secondImage, 0);
    headers_.WriteTrailer(scratch + headerBytes + secondBytes, 1);
    // A fault here (an output buffer too short for the frame) ends the copy quietly.
    GuardedCopy(secondImage, scratch, headerBytes + secondBytes + kTrailerBytes);
  }
  outputFormat->sizeImage = firstBytes + secondBytes + 2 * (headerBytes + kTrailerBytes);
  return kIcmOk;
}

int32_t EncoderSession::End() {
  active_ = false;
  worker_.Stop();
  for (Field& field : fields_) field.Release();
  scratch_.Release();
  reciprocalArea_.Release();
  lumaCodes_.Release();
  chromaCodes_.Release();
  converter_.reset();
  quality_ = kNoQuality;
  return kIcmOk;
}

}  // namespace trvx
