#include "decoder/decoder_session.h"

#include <cstdlib>
#include <cstring>

#include "decoder/frame_reader.h"
#include "decoder/huffman_decoding_tables.h"
#include "format/icm_results.h"
#include "pixel/memory_routines.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"

namespace trvx {

namespace {

constexpr std::size_t kQuantTableAreaBytes = kQuantTableSlots * kQuantTableEntries * sizeof(uint16_t);

// A stream may declare any picture size; one larger than the bitmap the host gave
// would have its MCUs placed outside that bitmap, so such a field is not decoded.
bool FitsOutput(const FrameDescription& description, const BitmapHeader& outputFormat) {
  const uint64_t outputWidth = static_cast<uint64_t>(std::abs(static_cast<int64_t>(outputFormat.width)));
  const uint64_t outputHeight = static_cast<uint64_t>(std::abs(static_cast<int64_t>(outputFormat.height)));
  return description.width <= outputWidth && uint64_t{description.height} * description.fieldCount <= outputHeight;
}

// Values and table contents; each description keeps its own table area.
void CopyDescription(const FrameDescription& from, FrameDescription& to) {
  uint16_t* const toTables = to.quantTables;
  std::memcpy(toTables, from.quantTables, kQuantTableAreaBytes);
  to = from;
  to.quantTables = toTables;
}

// Whether two descriptions read from a frame decode its coded data alike.
bool SameCoding(const FrameDescription& a, const FrameDescription& b) {
  return a.width == b.width && a.height == b.height && a.quantTableCount == b.quantTableCount &&
         std::memcmp(a.sampling, b.sampling, sizeof a.sampling) == 0 &&
         std::memcmp(a.quantTables, b.quantTables, kQuantTableAreaBytes) == 0;
}

int32_t DecodeMcus(const FieldJob& job) {
  const FrameDescription& description = *job.description;
  McuWorkspace& workspace = *job.workspace;
  const uint8_t* sampling = description.sampling;
  // A partial MCU at the right or bottom edge is not decoded.
  const uint32_t mcuColumns = sampling[0] == 0 ? 0 : description.width / (sampling[0] * 8u);
  const uint32_t mcuRows = sampling[1] == 0 ? 0 : description.height / (sampling[1] * 8u);
  job.entropyDecoder->ResetForField(description);
  workspace.blocksPerMcu =
      static_cast<uint16_t>(sampling[0] * sampling[1] + sampling[2] * sampling[3] + sampling[4] * sampling[5]);
  for (uint32_t mcuRow = 0; mcuRow < mcuRows; ++mcuRow) {
    for (uint32_t mcuColumn = 0; mcuColumn < mcuColumns; ++mcuColumn) {
      if (job.entropyDecoder->DecodeMcu(workspace) != 0) return kIcmError;
      // The entropy decoder has applied tables 0 and 1 already; any other table count
      // is still the deliberate fault it is at the first dequantised MCU.
      if (description.quantTableCount != 2) DeliberateFault();
      job.kernels.reconstruct(workspace);
      // A stream the converter has no kernel for fails here rather than leaving the
      // host's bitmap blank behind a success.
      if (job.outputConverter->Convert(description, workspace, mcuColumn, mcuRow) != 0) return kIcmError;
    }
  }
  return kIcmOk;
}

}  // namespace

int32_t DecodeField(const FieldJob& job) {
  const int32_t result = DecodeMcus(job);
  job.outputConverter->FinishField();
  return result;
}

void DecoderSession::Field::Prepare() {
  quantTableArea.Allocate(kQuantTableAreaBytes);
  if (!quantTableArea.empty()) std::memset(quantTableArea.data(), 0, kQuantTableAreaBytes);
  description = FrameDescription();
  description.quantTables = reinterpret_cast<uint16_t*>(quantTableArea.data());
  workspace.Allocate();
}

void DecoderSession::Field::Release() {
  quantTableArea.Release();
  description.quantTables = nullptr;
  workspace.Release();
  entropyDecoder.reset();
}

DecoderSession::DecoderSession(ProcessorCountQuery processorCount) noexcept : processorCountQuery_(processorCount) {}

DecoderSession::~DecoderSession() { End(); }

int32_t DecoderSession::Begin(const BitmapHeader* inputFormat, const BitmapHeader* outputFormat) {
  if (inputFormat == nullptr) return kIcmBadFormat;
  processor_ = DetectProcessor();
  kernels_ = SelectDecoderKernels(processor_);
  for (Field& field : fields_) field.entropyDecoder = MakeEntropyDecoder(processor_);
  baseline_ = std::make_unique<BaselineFrames>();
  outputConverter_ = MakeOutputConverter(*outputFormat);
  if (!outputConverter_) return kIcmBadFormat;

  processorCount_ = processorCountQuery_();
  fields_[0].Prepare();
  if (processorCount_ >= 2) {
    fields_[1].Prepare();
    chainedQuantTableArea_.Allocate(kQuantTableAreaBytes);
    // A worker that cannot start is not reported here; frames then take the path
    // that waits for it.
    fieldWorker_.Launch(&DecoderSession::RunWorkerJob, this);
  }
  BuildHuffmanDecodingTables();
  begun_ = true;
  return kIcmOk;
}

FieldJob DecoderSession::JobFor(Field& field) {
  return FieldJob{&field.description, &field.workspace, field.entropyDecoder.get(), outputConverter_.get(), kernels_};
}

void DecoderSession::StartFieldHeaders(Field& field, uint8_t fieldIndex) {
  SetHuffmanDecodingTables(field.description);
  field.description.fieldCount = 2;
  field.description.fieldIndex = fieldIndex;
}

int32_t DecoderSession::RunWorkerJob(void* context) {
  DecoderSession& session = *static_cast<DecoderSession*>(context);
  switch (session.workerTask_) {
    case WorkerTask::kOwnFieldByOffset:
      return DecodeField(session.workerJob_) == kIcmOk ? 0 : kIcmError;
    case WorkerTask::kOwnFieldByScan:
      session.workerResult_ = RunGuarded([&session] { return DecodeField(session.workerJob_); });
      return 0;
    case WorkerTask::kBaselineDecode:
    case WorkerTask::kBaselineConvert:
      session.workerResult_ = RunGuarded([&session] { return session.RunBaselineTask(); });
      return 0;
  }
  return 0;
}

int32_t DecoderSession::RunBaselineTask() {
  if (workerTask_ == WorkerTask::kBaselineDecode) return baseline_->DecodeImage(baselineImage_, kernels_.reconstruct);
  return baseline_->ConvertImage(baselineImage_, baselineBands_[0], baselineBands_[1], *outputConverter_,
                                 fields_[1].workspace);
}

// Both images (or the one) are decoded whole before any pixel is written.
int32_t DecoderSession::DecodeBaselineImages(bool helper) {
  if (helper && baseline_->TwoFields()) {
    workerTask_ = WorkerTask::kBaselineDecode;
    baselineImage_ = 1;
    fieldWorker_.Start();
    const int32_t first = RunGuarded([this] { return baseline_->DecodeImage(0, kernels_.reconstruct); });
    fieldWorker_.WaitUntilDone();
    return first == kIcmOk && workerResult_ == kIcmOk ? kIcmOk : kIcmError;
  }
  for (int index = 0; index < (baseline_->TwoFields() ? 2 : 1); ++index) {
    if (baseline_->DecodeImage(index, kernels_.reconstruct) != kIcmOk) return kIcmError;
  }
  return kIcmOk;
}

// The helper takes the second field, or the lower half of a single image.
int32_t DecoderSession::ConvertBaselineImages(bool helper) {
  const uint32_t bands = baseline_->Bands();
  McuWorkspace& tile = fields_[0].workspace;
  if (!helper) {
    int32_t result = baseline_->ConvertImage(0, 0, bands, *outputConverter_, tile);
    if (result == kIcmOk && baseline_->TwoFields()) result = baseline_->ConvertImage(1, 0, bands, *outputConverter_, tile);
    return result;
  }
  const bool twoFields = baseline_->TwoFields();
  const uint32_t split = twoFields ? bands : bands / 2;
  workerTask_ = WorkerTask::kBaselineConvert;
  baselineImage_ = twoFields ? 1 : 0;
  baselineBands_[0] = twoFields ? 0 : split;
  baselineBands_[1] = bands;
  fieldWorker_.Start();
  const int32_t first =
      RunGuarded([this, split, &tile] { return baseline_->ConvertImage(0, 0, split, *outputConverter_, tile); });
  fieldWorker_.WaitUntilDone();
  return first == kIcmOk && workerResult_ == kIcmOk ? kIcmOk : kIcmError;
}

int32_t DecoderSession::DecodeBaselineFrame(const BitmapHeader& outputFormat, uint8_t* outputBits,
                                            const uint8_t* inputBits) {
  if (baseline_->Prepare(inputBits, frameEnd_, outputFormat) != kIcmOk) return kIcmError;
  const bool helper = fieldWorker_.Running() && !fields_[1].workspace.storage.empty();
  if (DecodeBaselineImages(helper) != kIcmOk) return kIcmError;
  // Without a kernel the first MCU fails, before anything is written.
  outputConverter_->Setup(outputBits, outputFormat, baseline_->TileDescription());
  return ConvertBaselineImages(helper);
}

const uint8_t* DecoderSession::ReadSecondHeadersByConsumption(const uint8_t* firstCodedData) {
  // The second image begins after the first one's coded data; the headers are read
  // into the same description, which takes the second field's tables and sizes.
  FrameDescription& description = fields_[0].description;
  description.fieldIndex = 1;
  const uint8_t* secondField = firstCodedData + fields_[0].entropyDecoder->BytesConsumed();
  return secondField + ReadFieldHeaders(secondField, BytesBefore(secondField, frameEnd_), description);
}

int32_t DecoderSession::DecodeSecondFieldHere(const uint8_t* secondCodedData, const BitmapHeader& outputFormat) {
  Field& field = fields_[0];
  if (!FitsOutput(field.description, outputFormat)) return kIcmError;
  field.entropyDecoder->SetInput(secondCodedData, frameEnd_);
  return DecodeField(JobFor(field));
}

int32_t DecoderSession::DecodeBothFieldsHere(const uint8_t* firstCodedData, const BitmapHeader& outputFormat) {
  if (DecodeField(JobFor(fields_[0])) != kIcmOk) return kIcmError;
  return DecodeSecondFieldHere(ReadSecondHeadersByConsumption(firstCodedData), outputFormat);
}

int32_t DecoderSession::DecodeWithNextFieldOffset(const uint8_t* secondField, const BitmapHeader& outputFormat) {
  Field& second = fields_[1];
  const uint32_t codedOffset = ReadFieldHeaders(secondField, BytesBefore(secondField, frameEnd_), second.description);
  second.entropyDecoder->SetInput(secondField + codedOffset, frameEnd_);
  if (!FitsOutput(second.description, outputFormat)) return kIcmError;
  workerJob_ = JobFor(second);
  workerTask_ = WorkerTask::kOwnFieldByOffset;
  fieldWorker_.Start();
  // On bad data in the first field the worker is deliberately not waited for.
  if (DecodeField(JobFor(fields_[0])) != kIcmOk) return kIcmError;
  fieldWorker_.WaitUntilDone();
  return kIcmOk;
}

// Frames written on two processors carry no offset to their second image, which the
// one-thread path finds only after decoding the first. The first image's coded data
// ends at the first marker that is not part of it, so the worker can start at once
// on what lies behind; the result is the one-thread path's all the same.
bool DecoderSession::LocateSecondFieldByScan(const uint8_t* firstCodedData, const BitmapHeader& outputFormat) {
  if (!fieldWorker_.Running() || chainedQuantTableArea_.empty() || frameEnd_ == nullptr) return false;
  const uint32_t codedBytes = BytesBefore(firstCodedData, frameEnd_);
  if (codedBytes == 0) return false;
  const uint32_t codedEnd = FindCodedDataEnd(firstCodedData, codedBytes);
  if (codedEnd == codedBytes) return false;

  chainedDescription_.quantTables = reinterpret_cast<uint16_t*>(chainedQuantTableArea_.data());
  CopyDescription(fields_[0].description, chainedDescription_);
  chainedDescription_.fieldIndex = 1;
  const uint8_t* secondField = firstCodedData + codedEnd;
  // A table that faults here might lie where the one-thread path never looks.
  const int32_t secondCodedOffset = RunGuarded(
      [&] { return static_cast<int32_t>(ReadFieldHeaders(secondField, BytesBefore(secondField, frameEnd_),
                                                        chainedDescription_)); });
  if (secondCodedOffset <= 0 || !FitsOutput(chainedDescription_, outputFormat)) return false;
  chainedCodedData_ = secondField + secondCodedOffset;
  Field& worker = fields_[1];
  worker.entropyDecoder->SetInput(chainedCodedData_, frameEnd_);
  workerJob_ = FieldJob{&chainedDescription_, &worker.workspace, worker.entropyDecoder.get(), outputConverter_.get(),
                        kernels_};
  return true;
}

int32_t DecoderSession::DecodeFieldsLocatedByScan(const uint8_t* firstCodedData, const BitmapHeader& outputFormat) {
  workerTask_ = WorkerTask::kOwnFieldByScan;
  fieldWorker_.Start();
  // Guarded here too, so that the worker is waited for after a fault as well: it must
  // not write the host's bitmap once we have returned.
  const FieldJob firstJob = JobFor(fields_[0]);
  const int32_t firstResult = RunGuarded([&firstJob] { return DecodeField(firstJob); });
  fieldWorker_.WaitUntilDone();
  if (firstResult != kIcmOk) return firstResult;
  // The worker's field stands where the one-thread path finds the same one; where a
  // corrupt frame leads it elsewhere, that field is decoded again its way.
  const uint8_t* secondCodedData = ReadSecondHeadersByConsumption(firstCodedData);
  if (secondCodedData == chainedCodedData_ && SameCoding(fields_[0].description, chainedDescription_)) {
    return workerResult_;
  }
  return DecodeSecondFieldHere(secondCodedData, outputFormat);
}

int32_t DecoderSession::DecompressFrame(const BitmapHeader* outputFormat, uint8_t* outputBits,
                                        const BitmapHeader* inputFormat, const uint8_t* inputBits) {
  if (!begun_) return kIcmError;
  const MmxStateCleanup mmxCleanup(UsesVectorKernels(processor_));
  // The host's biSizeImage bounds every read; without it only the scan limit does.
  frameEnd_ = inputFormat != nullptr && inputFormat->sizeImage != 0 ? inputBits + inputFormat->sizeImage : nullptr;
  if (baseline_->TakesFrame(inputBits, frameEnd_, *outputFormat)) {
    return DecodeBaselineFrame(*outputFormat, outputBits, inputBits);
  }
  Field& first = fields_[0];
  StartFieldHeaders(first, 0);
  const bool twoThreads = processorCount_ >= 2;
  if (twoThreads) StartFieldHeaders(fields_[1], 1);

  const uint32_t inputBytes = BytesBefore(inputBits, frameEnd_);
  const uint8_t* firstCodedData = inputBits + ReadFieldHeaders(inputBits, inputBytes, first.description);
  if (!FitsOutput(first.description, *outputFormat)) return kIcmError;
  outputConverter_->Setup(outputBits, *outputFormat, first.description);
  first.entropyDecoder->SetInput(firstCodedData, frameEnd_);

  const uint32_t nextFieldOffset = twoThreads ? FindNextFieldOffset(inputBits, inputBytes) : 0;
  if (nextFieldOffset != 0) return DecodeWithNextFieldOffset(inputBits + nextFieldOffset, *outputFormat);
  if (twoThreads && LocateSecondFieldByScan(firstCodedData, *outputFormat)) {
    return DecodeFieldsLocatedByScan(firstCodedData, *outputFormat);
  }
  return DecodeBothFieldsHere(firstCodedData, *outputFormat);
}

int32_t DecoderSession::End() {
  begun_ = false;
  fieldWorker_.Stop();
  for (Field& field : fields_) field.Release();
  chainedQuantTableArea_.Release();
  outputConverter_.reset();
  baseline_.reset();
  return kIcmOk;
}

}  // namespace trvx
