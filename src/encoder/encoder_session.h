// The encoding direction's top (src/encoder): a session from COMPRESS_BEGIN to END
// that reads pixels through a pixel/ input converter and codes the two field images
// with the transform kernels, entropy writers and header writer below it.
#pragma once

#include <cstdint>
#include <memory>

#include "format/frame_description.h"
#include "format/bitmap_format.h"
#include "format/mcu_workspace.h"
#include "encoder/encoder_kernels.h"
#include "encoder/entropy_writer.h"
#include "encoder/header_writer.h"
#include "encoder/quant_tables.h"
#include "pixel/input_converter.h"
#include "platform/aligned_buffer.h"
#include "platform/worker_thread.h"

namespace trvx {

// One field's share of the per-MCU work: what field coding needs, and what the worker
// thread is handed for the second field.
struct EncodeJob {
  FrameDescription* description = nullptr;
  BlockBuffer* blocks = nullptr;
  EntropyWriter* writer = nullptr;
  InputConverter* converter = nullptr;
  EncoderKernels kernels = {};
};

// Codes one field into the job's writer; returns the entropy-coded byte count.
uint32_t EncodeField(const EncodeJob& job);

// Turns uncompressed frames into two-field compressed frames between COMPRESS_BEGIN
// and COMPRESS_END. With two or more processors the second field is coded on a
// worker thread into a scratch area and copied behind the first.
class EncoderSession {
 public:
  explicit EncoderSession(ProcessorCountQuery processorCount = &SystemProcessorCount) noexcept;
  ~EncoderSession();
  EncoderSession(const EncoderSession&) = delete;
  EncoderSession& operator=(const EncoderSession&) = delete;

  // Rebuilds the tables for a quality of 0..kMaxQuality; -1 and no change above it.
  int32_t SetQuality(uint32_t quality);
  uint32_t Quality() const { return quality_; }
  const uint16_t* LumaQuantTable() const { return quantTables_; }
  const uint16_t* ChromaQuantTable() const { return quantTables_ + kBlockSize; }
  const int16_t* Reciprocals() const { return reciprocals_; }

  int32_t Begin(const BitmapHeader* inputFormat, const BitmapHeader* outputFormat);
  int32_t Compress(BitmapHeader* outputFormat, uint8_t* outputBits, const BitmapHeader* inputFormat,
                   const uint8_t* inputBits, uint32_t quality);
  int32_t End();

 private:
  struct Field {
    FrameDescription description;
    AlignedBuffer quantTableArea;
    BlockBuffer blocks;
    std::unique_ptr<EntropyWriter> writer;

    void Prepare();
    void Release();
  };

  void DescribeField(Field& field, const BitmapHeader& inputFormat, uint8_t fieldIndex);
  void PublishTables();
  static int32_t RunWorkerJob(void* session);

  bool active_ = false;
  std::unique_ptr<InputConverter> converter_;
  EncoderKernels kernels_ = {};
  ProcessorCountQuery processorCountQuery_;
  int32_t processor_ = 0;  // the processor flag the kernels were chosen by
  uint32_t processorCount_ = 0;
  WorkerThread worker_;
  EncodeJob workerJob_;
  uint32_t workerBytes_ = 0;
  AlignedBuffer scratch_;
  Field fields_[2];
  HeaderWriter headers_;
  AlignedBuffer reciprocalArea_;
  AlignedBuffer lumaCodes_;
  AlignedBuffer chromaCodes_;
  uint32_t quality_ = kNoQuality;
  // The tables of the current quality; copied into the aligned areas the kernels read.
  uint16_t quantTables_[2 * kBlockSize] = {};
  int16_t reciprocals_[2 * kBlockSize] = {};
};

}  // namespace trvx
