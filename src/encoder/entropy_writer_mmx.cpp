// The wide writer of the MMX paths and of class 159. Its accumulator needs no vector
// registers, so the file is ordinary C++ and leaves no MMX state behind.
#include <mutex>

#include "encoder/entropy_writer.h"
#include "platform/fault_guard.h"

namespace trvx {

namespace {

// Amplitude bits x 256 + size for |v| <= 255, indexed by the low 10 bits of v: most
// coefficients are small, and their sizes need no bit counting.
constexpr uint16_t kNotCached = 0xFFFF;
constexpr int32_t kCachedMagnitude = 255;
uint16_t g_amplitudes[1024];
std::once_flag g_amplitudesBuilt;

uint32_t AmplitudeBits(int32_t value, uint32_t size) {
  return value < 0 ? uint32_t(value - 1) & ((1u << size) - 1) : uint32_t(value);
}

void BuildAmplitudes() {
  for (uint16_t& entry : g_amplitudes) entry = kNotCached;
  for (int32_t v = -kCachedMagnitude; v <= kCachedMagnitude; ++v) {
    const uint32_t size = MagnitudeSize(v);
    g_amplitudes[v & 1023] = uint16_t(AmplitudeBits(v, size) << 8 | size);
  }
}

// Bits and size of a value; larger values than the cache holds would alias in it.
inline uint32_t Amplitude(int32_t value, uint32_t& size) {
  // Every value in the cached range has its entry.
  if (uint32_t(value + kCachedMagnitude) <= uint32_t(2 * kCachedMagnitude)) {
    const uint16_t entry = g_amplitudes[value & 1023];
    size = entry & 0xFF;
    return entry >> 8;
  }
  size = MagnitudeSize(value);
  return AmplitudeBits(value, size);
}

}  // namespace

EntropyWriterWide::EntropyWriterWide(NonZeroMaskKernel nonZeroMask, bool plainBytes)
    : nonZeroMask_(nonZeroMask), plainBytes_(plainBytes) {
  std::call_once(g_amplitudesBuilt, BuildAmplitudes);
}

EntropyWriterMmx::EntropyWriterMmx(NonZeroMaskKernel nonZeroMask) : EntropyWriterWide(nonZeroMask, false) {}

#if defined(__i386__) || defined(__x86_64__)
EntropyWriterPlainSse2::EntropyWriterPlainSse2() : EntropyWriterWide(NonZeroCoefficientMaskSse2, true) {}
#endif

// The writer's accumulator and cursor, held in registers while an MCU is coded. The
// newest bits are at the bottom of the accumulator; bits above the pending ones are
// stale and shifted out before they are written.
struct EntropyWriterWide::BitSink {
  uint64_t accumulator;
  uint32_t pending;
  uint8_t* cursor;

  // A symbol has at most 27 bits (16 of code and 11 of value).
  void Put(uint32_t code, uint32_t count) {
    if constexpr (sizeof(void*) == 8) {
      // At most 31 bits stay pending, so the symbol fits beside them.
      if (pending >= 32) {
        PutWord(cursor, uint32_t(accumulator >> (pending - 32)));
        pending -= 32;
      }
      accumulator = accumulator << count | code;
      pending += count;
    } else {
      // 64-bit shifts take several instructions on a 32-bit processor: the low half
      // alone is the accumulator here, and at most 31 bits stay pending after a word
      // goes out.
      uint32_t low = uint32_t(accumulator);
      if (pending + count < 32) {
        low = low << count | code;
        pending += count;
      } else {
        const uint32_t over = pending + count - 32;
        PutWord(cursor, (pending == 0 ? 0 : low << (32 - pending)) | code >> over);
        low = code;
        pending = over;
      }
      accumulator = low;
    }
  }
};

int32_t EntropyWriterWide::EncodeMcu(const BlockBuffer& blocks) {
  return plainBytes_ ? Encode<true>(blocks) : Encode<false>(blocks);
}

// The base class writes every whole 16 bits as they come, so at a fault it has written
// those and holds the rest.
void EntropyWriterWide::FaultAsPlain(BitSink& sink) {
  for (; sink.pending >= 16; sink.pending -= 16) {
    PutByte(sink.cursor, uint8_t(sink.accumulator >> (sink.pending - 8)));
    PutByte(sink.cursor, uint8_t(sink.accumulator >> (sink.pending - 16)));
  }
  accumulator_ = sink.accumulator;
  pending_ = sink.pending;
  Cursor() = sink.cursor;
  DeliberateFault();
}

template <bool PlainBytes>
int32_t EntropyWriterWide::Encode(const BlockBuffer& blocks) {
  BitSink sink{accumulator_, pending_, Cursor()};
  int32_t result = 0;
  BlockCodes codes;
  for (uint32_t b = 0; CodesForBlock(b, codes); ++b) {
    const int16_t* block = blocks.Block(int(b));
    const int16_t difference = DcDifference(codes.component, block[0]);
    uint32_t category = 0;
    const uint32_t bits = Amplitude(difference, category);
    if (category >= uint32_t(kDcCategories)) {
      result = kEncodeMcuFailed;
      break;
    }
    sink.Put(uint32_t(codes.dc[category].code) << category | bits, codes.dc[category].length + category);

    // Walk the non-zero coefficients; runs of 16 zeros before one become ZRL symbols.
    const uint32_t* ac = codes.ac;
    int previous = 0;
    ForEachSetBit(nonZeroMask_(block) & ~uint64_t{1}, [&](int k) {
      int run = k - previous - 1;
      previous = k;
      for (; run >= 16; run -= 16) {
        const uint32_t zrl = ac[AcCodeIndex(0, 15)];
        if (PlainBytes && zrl == 0) FaultAsPlain(sink);
        sink.Put(CodeBits(zrl), CodeLength(zrl));
      }
      uint32_t size = 0;
      const uint32_t amplitude = Amplitude(block[k], size);
      const uint32_t entry = size <= uint32_t(kMaxAcSize) ? ac[AcCodeIndex(size, uint32_t(run))] : 0;
      if (entry == 0) {
        if (PlainBytes) FaultAsPlain(sink);
        DeliberateFault();
      }
      // Code and amplitude in one go: at most 16 + 10 bits.
      sink.Put(CodeBits(entry) << size | amplitude, CodeLength(entry) + size);
    });
    if (previous != 63) sink.Put(CodeBits(ac[AcCodeIndex(0, 0)]), CodeLength(ac[AcCodeIndex(0, 0)]));
  }
  accumulator_ = sink.accumulator;
  pending_ = sink.pending;
  Cursor() = sink.cursor;
  return result;
}

void EntropyWriterWide::Flush() {
  if (pending_ != 0) {
    // The MMX paths pad with 0-bits, the base class with 1-bits.
    uint64_t top = accumulator_ << (64 - pending_);
    if (plainBytes_) top |= ~uint64_t{0} >> pending_;
    for (uint32_t n = 0; n < (pending_ + 7) / 8; ++n) PutByte(Cursor(), uint8_t(top >> (56 - 8 * n)));
  }
  accumulator_ = 0;
  pending_ = 0;
  ResetPredictors();
}

}  // namespace trvx
