// Huffman coding of quantised MCUs into one field image's entropy-coded data, with
// the Annex K codes, 0xFF byte stuffing and no restart markers.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

#include "format/frame_description.h"
#include "format/mcu_workspace.h"
#include "encoder/huffman_code_tables.h"

namespace trvx {

constexpr int32_t kEncodeMcuFailed = -100;

// Bit k set for each non-zero coefficient k of a block. The SSE2 variant needs the
// block 16-byte aligned.
using NonZeroMaskKernel = uint64_t (*)(const int16_t* block);
uint64_t NonZeroCoefficientMask(const int16_t* block);
uint64_t NonZeroCoefficientMaskSse2(const int16_t* block);

// Per field: SetOutput, BeginField, EncodeMcu per MCU, Flush, BytesWritten. The output
// space is never checked: the caller's buffer is trusted to hold the field.
class EntropyWriter {
 public:
  EntropyWriter() noexcept = default;
  virtual ~EntropyWriter();
  EntropyWriter(const EntropyWriter&) = delete;
  EntropyWriter& operator=(const EntropyWriter&) = delete;

  // Takes the code tables and block counts; leaves the DC predictors alone.
  virtual void BeginField(const FrameDescription& description);
  // Returns 0, or kEncodeMcuFailed when a DC difference has no code; the rest of the
  // MCU is then dropped. An AC magnitude of 1024 or more faults deliberately.
  virtual int32_t EncodeMcu(const BlockBuffer& blocks);
  // Pads the last byte with 1-bits and resets the predictors for the next field.
  virtual void Flush();

  void SetOutput(uint8_t* output) {
    start_ = output;
    cursor_ = output;
  }
  uint32_t BytesWritten() const { return uint32_t(cursor_ - start_); }

 protected:
  struct BlockCodes {
    const uint32_t* ac;
    const DcCodeEntry* dc;
    int component;
  };
  // The tables and predictor slot of the MCU's block at `index`, or false past its end.
  bool CodesForBlock(uint32_t index, BlockCodes& codes) const {
    if (index < lumaBlocks_) {
      codes = {lumaTable_, kLumaDcCodes.data(), 0};
    } else if (index < lumaBlocks_ + cbBlocks_) {
      codes = {chromaTable_, kChromaDcCodes.data(), 1};
    } else if (index < lumaBlocks_ + cbBlocks_ + crBlocks_) {
      codes = {chromaTable_, kChromaDcCodes.data(), 2};
    } else {
      return false;
    }
    return true;
  }

  // Byte output with 0xFF stuffing, on a cursor that a writer may keep in a register:
  // stores through it could otherwise alias the writer's own fields.
  static void PutByte(uint8_t*& cursor, uint8_t byte) {
    *cursor++ = byte;
    if (byte == 0xFF) *cursor++ = 0;
  }
  // Four bytes, the first from the top; stored at once when none of them is 0xFF.
  static void PutWord(uint8_t*& cursor, uint32_t word) {
    if (((word & 0x7F7F7F7Fu) + 0x01010101u) & word & 0x80808080u) {
      for (int shift = 24; shift >= 0; shift -= 8) PutByte(cursor, uint8_t(word >> shift));
      return;
    }
    const uint8_t bytes[4] = {uint8_t(word >> 24), uint8_t(word >> 16), uint8_t(word >> 8), uint8_t(word)};
    std::memcpy(cursor, bytes, sizeof bytes);
    cursor += sizeof bytes;
  }
  uint8_t*& Cursor() { return cursor_; }
  // The DC's difference from its component's predictor, which then moves on to it.
  int16_t DcDifference(int component, int16_t dc) {
    const int16_t difference = int16_t(dc - dcPredictors_[component]);
    dcPredictors_[component] = dc;
    return difference;
  }
  void ResetPredictors();

 private:
  void PutBits(uint32_t code, uint32_t count);
  void PutValue(int32_t value, uint32_t size);

  uint8_t* start_ = nullptr;
  uint8_t* cursor_ = nullptr;
  const uint32_t* lumaTable_ = nullptr;
  const uint32_t* chromaTable_ = nullptr;
  uint32_t bits_ = 0;  // newest bits at the bottom; stale bits above are never cleared
  uint32_t bitCount_ = 0;
  uint32_t lumaBlocks_ = 0;
  uint32_t cbBlocks_ = 0;
  uint32_t crBlocks_ = 0;
  int16_t dcPredictors_[3] = {};
};

// A 64-bit accumulator emptied four bytes at a time, and a kernel that finds the
// non-zero coefficients: the base class's symbols for less work.
class EntropyWriterWide : public EntropyWriter {
 public:
  int32_t EncodeMcu(const BlockBuffer& blocks) override;
  void Flush() override;

 protected:
  // plainBytes: the base class's bytes exactly (EntropyWriterPlainSse2).
  EntropyWriterWide(NonZeroMaskKernel nonZeroMask, bool plainBytes);

 private:
  struct BitSink;
  template <bool PlainBytes>
  int32_t Encode(const BlockBuffer& blocks);
  [[noreturn]] void FaultAsPlain(BitSink& sink);

  NonZeroMaskKernel nonZeroMask_;
  bool plainBytes_;
  uint64_t accumulator_ = 0;
  uint32_t pending_ = 0;
  // A session makes its two writers one after the other and runs them on two
  // threads: without this gap their cursors and accumulators, written for every MCU,
  // can share a cache line.
  [[maybe_unused]] uint8_t cacheLineGap_[64] = {};
};

// Processor classes with MMX: pads the last byte with 0-bits, unlike the base class.
class EntropyWriterMmx final : public EntropyWriterWide {
 public:
  explicit EntropyWriterMmx(NonZeroMaskKernel nonZeroMask = NonZeroCoefficientMask);
};

// Processor class 159, on x86 only: the base class's bytes exactly, with the SSE2
// mask. It pads with 1-bits, faults where the base class does, and leaves at a fault
// the output and pending bits the base class would have left, which the next frame
// starts from.
class EntropyWriterPlainSse2 final : public EntropyWriterWide {
 public:
  EntropyWriterPlainSse2();
};

// Calls visit(k) for each set bit k of mask, lowest first. A 32-bit build walks the
// halves one after the other: a 64-bit bit scan there is a library call.
template <class Visit>
__attribute__((always_inline)) inline void ForEachSetBit(uint64_t mask, Visit visit) {
  if constexpr (sizeof(void*) == 8) {
    for (; mask != 0; mask &= mask - 1) visit(__builtin_ctzll(mask));
  } else {
    for (uint32_t low = uint32_t(mask); low != 0; low &= low - 1) visit(__builtin_ctz(low));
    for (uint32_t high = uint32_t(mask >> 32); high != 0; high &= high - 1) visit(32 + __builtin_ctz(high));
  }
}

// Magnitude category: the bit count of |value|, 0 for 0.
inline uint32_t MagnitudeSize(int32_t value) {
  uint32_t magnitude = uint32_t(value < 0 ? -value : value);
  uint32_t size = 0;
  while (magnitude != 0) {
    magnitude >>= 1;
    ++size;
  }
  return size;
}

// The MMX writer for processor classes 1, 3, 15, 31, 135 and 143 (with the SSE2 mask
// for 31), the plain-bytes SSE2 one for 159 on x86, the plain one for every other flag.
std::unique_ptr<EntropyWriter> MakeEntropyWriter(int32_t processorFlag);

}  // namespace trvx
