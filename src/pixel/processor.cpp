#include "pixel/processor.h"

#include <cstdlib>
#include <cstring>

#include "platform/fault_guard.h"

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#define TRVX_HAVE_CPUID 1
#else
#define TRVX_HAVE_CPUID 0
#endif

namespace trvx {
namespace {

constexpr uint32_t kCmovBit = 1u << 15;
constexpr uint32_t kMmxBit = 1u << 23;
constexpr uint32_t kSseBit = 1u << 25;
constexpr uint32_t kSse2Bit = 1u << 26;
constexpr uint32_t kAmdMmxExtensionsBit = 1u << 22;

// Each flag with the one spelling TRVX_CPU accepts for it: a blank, a sign or a
// leading zero would let a mistyped value pick a path the user did not name.
struct KnownFlag {
  int32_t flag;
  const char* spelling;
};
constexpr KnownFlag kKnownFlags[] = {
    {kProcessorPlain, "0"},   {kProcessorIntelMmx, "3"},           {kProcessorIntelSse, "15"}, {kProcessorIntelSse2, "31"},
    {kProcessorAmdMmx, "1"},  {kProcessorAmdMmxExtensions, "135"}, {kProcessorAmdSse, "143"},  {kProcessorAmdSse2, "159"},
};

// Asked at every frame's end too (the MMX state), so it compares text, allocating nothing.
bool ReadOverride(int32_t* flag) {
  const char* text = std::getenv("TRVX_CPU");
  if (text == nullptr) return false;
  for (const KnownFlag& known : kKnownFlags) {
    if (std::strcmp(known.spelling, text) == 0) {
      *flag = known.flag;
      return true;
    }
  }
  return false;
}

#if TRVX_HAVE_CPUID
void StoreRegister(char* out, unsigned int value) { std::memcpy(out, &value, 4); }

// __get_cpuid checks the highest leaf first, so a missing extended leaf reads as zero.
CpuidReadings ReadCpuid() {
  CpuidReadings readings;
  unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(0, &eax, &ebx, &ecx, &edx)) return readings;
  StoreRegister(readings.vendor, ebx);
  StoreRegister(readings.vendor + 4, edx);
  StoreRegister(readings.vendor + 8, ecx);
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) readings.featureEdx = edx;
  if (__get_cpuid(0x80000001u, &eax, &ebx, &ecx, &edx)) readings.extendedFeatureEdx = edx;
  return readings;
}
#endif

}  // namespace

int32_t ClassifyProcessor(const CpuidReadings& readings) {
  const uint32_t edx = readings.featureEdx;
  if (std::memcmp(readings.vendor, "GenuineIntel", 12) == 0) {
    if (edx & kSse2Bit) return kProcessorIntelSse2;
    if (edx & kSseBit) return kProcessorIntelSse;
    if (edx & (kMmxBit | kCmovBit)) return kProcessorIntelMmx;
    return kProcessorPlain;
  }
  if (std::memcmp(readings.vendor, "AuthenticAMD", 12) == 0) {
    if (edx & kSse2Bit) return kProcessorAmdSse2;
    if (edx & kSseBit) return kProcessorAmdSse;
    if (!(edx & kMmxBit)) return kProcessorPlain;
    return (readings.extendedFeatureEdx & kAmdMmxExtensionsBit) ? kProcessorAmdMmxExtensions
                                                                : kProcessorAmdMmx;
  }
  return kProcessorPlain;
}

int32_t DetectProcessor() {
  int32_t flag = kProcessorPlain;
  if (ReadOverride(&flag)) return flag;
#if TRVX_HAVE_CPUID
  // Asked at the end of every frame: CPUID traps to the hypervisor in a virtual
  // machine, and its answer does not change while the process runs, so it is read once.
  // A processor without CPUID faults there; the guard turns that into plain code.
  static const int32_t detected = [] {
    const int32_t result = RunGuarded([]() -> int32_t { return ClassifyProcessor(ReadCpuid()); });
    return result == kFaultResult ? kProcessorPlain : result;
  }();
  return detected;
#else
  return flag;
#endif
}

}  // namespace trvx
