#include "pixel/memory_routines.h"

#include <atomic>
#include <cstring>

#include "pixel/processor.h"
#include "platform/fault_guard.h"

namespace trvx {
namespace {

void CopyDispatcher(void* dest, const void* src, std::size_t count);
void FillBytesDispatcher(void* dest, std::size_t count, uint8_t value);
void FillWordsDispatcher(void* dest, std::size_t count, uint16_t value);
void FillDwordsDispatcher(void* dest, std::size_t count, uint32_t value);

// Two threads may dispatch at once; both store the same address, so no lock.
std::atomic<CopyRoutine> g_copySlot{&CopyDispatcher};
std::atomic<FillBytesRoutine> g_fillBytesSlot{&FillBytesDispatcher};
std::atomic<FillWordsRoutine> g_fillWordsSlot{&FillWordsDispatcher};
std::atomic<FillDwordsRoutine> g_fillDwordsSlot{&FillDwordsDispatcher};

void CopyDispatcher(void* dest, const void* src, std::size_t count) {
  const CopyRoutine routine = SelectCopyRoutine(DetectProcessor());
  g_copySlot.store(routine, std::memory_order_relaxed);
  routine(dest, src, count);
}

// The fill dispatchers still detect, so faster fill variants can slot in later.
void FillBytesDispatcher(void* dest, std::size_t count, uint8_t value) {
  static_cast<void>(DetectProcessor());
  g_fillBytesSlot.store(&FillBytesPlain, std::memory_order_relaxed);
  FillBytesPlain(dest, count, value);
}

void FillWordsDispatcher(void* dest, std::size_t count, uint16_t value) {
  static_cast<void>(DetectProcessor());
  g_fillWordsSlot.store(&FillWordsPlain, std::memory_order_relaxed);
  FillWordsPlain(dest, count, value);
}

void FillDwordsDispatcher(void* dest, std::size_t count, uint32_t value) {
  static_cast<void>(DetectProcessor());
  g_fillDwordsSlot.store(&FillDwordsPlain, std::memory_order_relaxed);
  FillDwordsPlain(dest, count, value);
}

}  // namespace

CopyRoutine SelectCopyRoutine(int32_t processorFlag) {
  switch (processorFlag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
      return &CopyMmx;
    case kProcessorIntelSse:
      return &CopySse;
    case kProcessorIntelSse2:
      return &CopySse2;
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
    case kProcessorAmdSse2:
      return &CopyAmd;
    default:
      return &CopyPlain;
  }
}

CopyRoutine CurrentCopyRoutine() { return g_copySlot.load(std::memory_order_relaxed); }

void MemoryCopy(void* dest, const void* src, std::size_t count) {
  g_copySlot.load(std::memory_order_relaxed)(dest, src, count);
}

void MemoryFillBytes(void* dest, std::size_t count, uint8_t value) {
  g_fillBytesSlot.load(std::memory_order_relaxed)(dest, count, value);
}

void MemoryFillWords(void* dest, std::size_t count, uint16_t value) {
  g_fillWordsSlot.load(std::memory_order_relaxed)(dest, count, value);
}

void MemoryFillDwords(void* dest, std::size_t count, uint32_t value) {
  g_fillDwordsSlot.load(std::memory_order_relaxed)(dest, count, value);
}

void GuardedCopy(void* dest, const void* src, std::size_t count) {
  const int32_t result = RunGuarded([dest, src, count]() -> int32_t {
    MemoryCopy(dest, src, count);
    return 0;
  });
  // The fault skipped the variant's EMMS; later x87 code would read garbage.
  const CopyRoutine routine = CurrentCopyRoutine();
  if (result == kFaultResult && (routine == &CopyMmx || routine == &CopyAmd)) ClearMmxState();
}

void FillBytesPlain(void* dest, std::size_t count, uint8_t value) {
  auto* out = static_cast<uint8_t*>(dest);
  for (std::size_t i = 0; i < count; ++i) out[i] = value;
}

void FillWordsPlain(void* dest, std::size_t count, uint16_t value) {
  // AND where OR was meant: always zeros. Kept for compatibility.
  const uint32_t pattern = (uint32_t{value} << 16) & value;
  auto* out = static_cast<uint8_t*>(dest);
  for (std::size_t i = 0; i < count / 2; ++i, out += 4) std::memcpy(out, &pattern, 4);
  if (count & 1) {
    const auto word = static_cast<uint16_t>(pattern);
    std::memcpy(out, &word, 2);
  }
}

void FillDwordsPlain(void* dest, std::size_t count, uint32_t value) {
  auto* out = static_cast<uint8_t*>(dest);
  for (std::size_t i = 0; i < count; ++i, out += 4) std::memcpy(out, &value, 4);
}

}  // namespace trvx
