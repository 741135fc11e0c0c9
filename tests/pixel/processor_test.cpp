#include "pixel/processor.h"
#include "support/processor_override.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace trvx {
namespace {

constexpr uint32_t kCmov = 1u << 15;
constexpr uint32_t kMmx = 1u << 23;
constexpr uint32_t kSse = 1u << 25;
constexpr uint32_t kSse2 = 1u << 26;
constexpr uint32_t kAmdExtensions = 1u << 22;

// vendor: at most 12 characters.
CpuidReadings Readings(const char* vendor, uint32_t edx, uint32_t extendedEdx = 0) {
  CpuidReadings readings;
  std::memcpy(readings.vendor, vendor, std::strlen(vendor));
  readings.featureEdx = edx;
  readings.extendedFeatureEdx = extendedEdx;
  return readings;
}

TEST(ProcessorClassify, IntelFeatureSets) {
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", 0)), 0);
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", kMmx)), 3);
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", kCmov)), 3);
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", kMmx | kCmov | kSse)), 15);
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", kMmx | kCmov | kSse | kSse2)), 31);
  // The AMD extension bit means nothing on Intel.
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntel", kMmx, kAmdExtensions)), 3);
}

TEST(ProcessorClassify, AmdFeatureSets) {
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", 0, kAmdExtensions)), 0);
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", kCmov)), 0);
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", kMmx | kCmov)), 1);
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", kMmx, kAmdExtensions)), 135);
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", kMmx | kSse, kAmdExtensions)), 143);
  EXPECT_EQ(ClassifyProcessor(Readings("AuthenticAMD", kMmx | kSse | kSse2)), 159);
}

TEST(ProcessorClassify, OtherVendorsArePlain) {
  const uint32_t all = kMmx | kCmov | kSse | kSse2;
  EXPECT_EQ(ClassifyProcessor(Readings("CyrixInstead", all, kAmdExtensions)), 0);
  EXPECT_EQ(ClassifyProcessor(Readings("GenuineIntex", all)), 0);
  EXPECT_EQ(ClassifyProcessor(Readings("", all)), 0);
}

// Each test starts without an override and leaves the environment as it found it.
class ProcessorOverrideTest : public ::testing::Test {
 protected:
  static void Set(const char* value) { test::ProcessorOverride::Set(value); }

 private:
  test::ProcessorOverride restore_{nullptr};
};

TEST_F(ProcessorOverrideTest, KnownValuesAreForced) {
  for (const char* value : {"0", "1", "3", "15", "31", "135", "143", "159"}) {
    Set(value);
    EXPECT_EQ(DetectProcessor(), std::atoi(value)) << value;
  }
}

// Near misses of every flag, so a lax parser forces some class other than this
// machine's own whatever its vendor.
TEST_F(ProcessorOverrideTest, UnknownValuesAreIgnored) {
  const int32_t real = DetectProcessor();
  for (const char* value : {"", "2", "7", "-1", "abc", "4294967327", "4294967296"}) {
    Set(value);
    EXPECT_EQ(DetectProcessor(), real) << '"' << value << '"';
  }
  for (const std::string known : {"0", "1", "3", "15", "31", "135", "143", "159"}) {
    for (const std::string& value : {" " + known, known + " ", "\t" + known, "+" + known, "0" + known, known + "x"}) {
      Set(value.c_str());
      EXPECT_EQ(DetectProcessor(), real) << '"' << value << '"';
    }
  }
}

TEST_F(ProcessorOverrideTest, RealMachineMatchesCompilerView) {
#if defined(__i386__) || defined(__x86_64__)
  __builtin_cpu_init();
  const bool sse2 = __builtin_cpu_supports("sse2");
  if (__builtin_cpu_is("amd") && sse2) {
    EXPECT_EQ(DetectProcessor(), 159);
  } else if (__builtin_cpu_is("intel") && sse2) {
    EXPECT_EQ(DetectProcessor(), 31);
  } else {
    GTEST_SKIP() << "no expectation for this processor";
  }
#else
  EXPECT_EQ(DetectProcessor(), 0);
#endif
}

}  // namespace
}  // namespace trvx
