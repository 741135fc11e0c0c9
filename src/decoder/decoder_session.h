// The decoding direction's top (src/decoder): a session from DECOMPRESS_BEGIN to END
// that reads each frame's fields, decodes them through the entropy decoders and
// transform kernels below it, and writes pixels through a pixel/ output converter.
#pragma once

#include <cstdint>
#include <memory>

#include "decoder/baseline_frames.h"
#include "decoder/decoder_kernels.h"
#include "decoder/entropy_decoder.h"
#include "format/frame_description.h"
#include "format/mcu_workspace.h"
#include "format/bitmap_format.h"
#include "pixel/output_converter.h"
#include "platform/aligned_buffer.h"
#include "platform/worker_thread.h"

namespace trvx {

// One field's share of the per-MCU work: what DecodeField needs, and what the worker
// thread is handed for the second field.
struct FieldJob {
  FrameDescription* description = nullptr;
  McuWorkspace* workspace = nullptr;
  EntropyDecoder* entropyDecoder = nullptr;
  OutputConverter* outputConverter = nullptr;
  DecoderKernels kernels = {};
};

// Decodes one field image into the output bitmap; 0, or kIcmError on bad data (the
// MCUs decoded before it stay written).
int32_t DecodeField(const FieldJob& job);

// Turns compressed frames into output bitmaps between DECOMPRESS_BEGIN and
// DECOMPRESS_END. Frames in the codec's own layout go through its own reader; any
// other walkable JPEG layout through the baseline path (baseline_frames.h). With two
// or more processors the second field is decoded on a worker thread while the caller
// decodes the first, and the worker shares the conversion of other layouts.
class DecoderSession {
 public:
  explicit DecoderSession(ProcessorCountQuery processorCount = &SystemProcessorCount) noexcept;
  ~DecoderSession();
  DecoderSession(const DecoderSession&) = delete;
  DecoderSession& operator=(const DecoderSession&) = delete;

  int32_t Begin(const BitmapHeader* inputFormat, const BitmapHeader* outputFormat);
  int32_t DecompressFrame(const BitmapHeader* outputFormat, uint8_t* outputBits, const BitmapHeader* inputFormat,
                          const uint8_t* inputBits);
  int32_t End();

 private:
  struct Field {
    FrameDescription description;
    AlignedBuffer quantTableArea;
    McuWorkspace workspace;
    std::unique_ptr<EntropyDecoder> entropyDecoder;

    void Prepare();
    void Release();
  };

  void StartFieldHeaders(Field& field, uint8_t fieldIndex);
  const uint8_t* ReadSecondHeadersByConsumption(const uint8_t* firstCodedData);
  int32_t DecodeSecondFieldHere(const uint8_t* secondCodedData, const BitmapHeader& outputFormat);
  int32_t DecodeBothFieldsHere(const uint8_t* firstCodedData, const BitmapHeader& outputFormat);
  int32_t DecodeWithNextFieldOffset(const uint8_t* secondField, const BitmapHeader& outputFormat);
  bool LocateSecondFieldByScan(const uint8_t* firstCodedData, const BitmapHeader& outputFormat);
  int32_t DecodeFieldsLocatedByScan(const uint8_t* firstCodedData, const BitmapHeader& outputFormat);
  int32_t DecodeBaselineFrame(const BitmapHeader& outputFormat, uint8_t* outputBits, const uint8_t* inputBits);
  int32_t DecodeBaselineImages(bool helper);
  int32_t ConvertBaselineImages(bool helper);
  int32_t RunBaselineTask();
  FieldJob JobFor(Field& field);
  static int32_t RunWorkerJob(void* session);

  bool begun_ = false;
  WorkerThread fieldWorker_;
  DecoderKernels kernels_ = {};
  std::unique_ptr<OutputConverter> outputConverter_;
  ProcessorCountQuery processorCountQuery_;
  int32_t processor_ = 0;  // the processor flag the kernels were chosen by
  uint32_t processorCount_ = 0;
  Field fields_[2];
  // One past the current frame's last byte, from the input's biSizeImage; null when
  // the host gave no size.
  const uint8_t* frameEnd_ = nullptr;
  // The second field of a frame whose first image gives no offset to it, read as the
  // one-thread path reads it: over a copy of the first field's description.
  FrameDescription chainedDescription_;
  AlignedBuffer chainedQuantTableArea_;
  const uint8_t* chainedCodedData_ = nullptr;
  std::unique_ptr<BaselineFrames> baseline_;

  // What the worker does when started. Only a field of the codec's own layout whose
  // place the first image gave ends the worker silently on bad data or a fault; every
  // other task reports either in workerResult_.
  enum class WorkerTask { kOwnFieldByOffset, kOwnFieldByScan, kBaselineDecode, kBaselineConvert };
  WorkerTask workerTask_ = WorkerTask::kOwnFieldByOffset;
  FieldJob workerJob_;
  // The baseline image and bands the worker takes.
  int baselineImage_ = 0;
  uint32_t baselineBands_[2] = {};
  int32_t workerResult_ = 0;
};

}  // namespace trvx
