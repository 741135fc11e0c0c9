// The four self-selecting memory routines: each slot starts at a dispatcher that, on
// its first call, picks a variant for this processor, stores it in the slot and runs it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trvx {

using CopyRoutine = void (*)(void* dest, const void* src, std::size_t count);
using FillBytesRoutine = void (*)(void* dest, std::size_t count, uint8_t value);
using FillWordsRoutine = void (*)(void* dest, std::size_t count, uint16_t value);
using FillDwordsRoutine = void (*)(void* dest, std::size_t count, uint32_t value);

// Copies and fills through the slots (0 copy, 1 bytes, 2 words, 3 dwords). Source and
// destination must not overlap; any alignment and count is fine.
void MemoryCopy(void* dest, const void* src, std::size_t count);
void MemoryFillBytes(void* dest, std::size_t count, uint8_t value);
void MemoryFillWords(void* dest, std::size_t count, uint16_t value);
void MemoryFillDwords(void* dest, std::size_t count, uint32_t value);

// Slot 0 under the fault guard: an access fault silently ends the copy part-way.
void GuardedCopy(void* dest, const void* src, std::size_t count);

// The variant slot 0 takes for a processor flag; a switch on the whole value.
CopyRoutine SelectCopyRoutine(int32_t processorFlag);

// What slot 0 holds now: its dispatcher until the first copy, then the variant.
CopyRoutine CurrentCopyRoutine();

// Copy variants, each in its own file built for its instruction set. The block
// variants work in 8192-byte blocks and copy the rest the plain way.
void CopyPlain(void* dest, const void* src, std::size_t count);
void CopyMmx(void* dest, const void* src, std::size_t count);
void CopySse(void* dest, const void* src, std::size_t count);
void CopySse2(void* dest, const void* src, std::size_t count);
void CopyAmd(void* dest, const void* src, std::size_t count);

// EMMS, for when a fault left an MMX variant without its own clean-up. Only call it
// on a processor with MMX.
void ClearMmxState();

// Leaves the MMX state clear at the end of a frame that ran vector kernels: the
// caller's floating point shares those registers.
class MmxStateCleanup {
 public:
  explicit MmxStateCleanup(bool vectorKernels) : active_(vectorKernels) {}
  ~MmxStateCleanup() {
    if (active_) ClearMmxState();
  }
  MmxStateCleanup(const MmxStateCleanup&) = delete;
  MmxStateCleanup& operator=(const MmxStateCleanup&) = delete;

 private:
  bool active_;
};

constexpr std::size_t kCopyBlockShift = 13;
constexpr std::size_t kCopyBlockSize = std::size_t{1} << kCopyBlockShift;

// Fill variants; the only ones there are, whatever the processor.
void FillBytesPlain(void* dest, std::size_t count, uint8_t value);
void FillWordsPlain(void* dest, std::size_t count, uint16_t value);
void FillDwordsPlain(void* dest, std::size_t count, uint32_t value);

}  // namespace trvx
