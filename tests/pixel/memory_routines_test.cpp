#include "pixel/memory_routines.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "pixel/processor.h"

namespace trvx {
namespace {

constexpr uint8_t kGuard = 0xCD;

// A 64-aligned region with 64 guard bytes on each side, so misalignment is exact.
class Arena {
 public:
  explicit Arena(std::size_t size) : size_(size), storage_(size + 192, kGuard) {
    const auto address = reinterpret_cast<uintptr_t>(storage_.data());
    base_ = storage_.data() + ((64 - address % 64) % 64) + 64;
  }
  uint8_t* at(std::size_t offset) { return base_ + offset; }
  // The region with its guards.
  std::vector<uint8_t> all() const { return {base_ - 64, base_ + size_ + 64}; }

 private:
  std::size_t size_;
  std::vector<uint8_t> storage_;
  uint8_t* base_;
};

TEST(MemoryCopy, EveryVariantCopiesExactly) {
  const std::size_t sizes[] = {0,    1,    2,    3,    4,    5,     7,     15,    16,   17,
                               63,   64,   65,   129,  1000, 4095,  8191,  8192,  8193, 8207,
                               8255, 16383, 16384, 16385, 24583, 32768, 40000};
  const std::size_t sourceOffsets[] = {0, 1, 3, 8};
  const std::size_t destOffsets[] = {0, 1, 4, 13, 16};
  const struct {
    const char* name;
    CopyRoutine routine;
  } variants[] = {{"plain", &CopyPlain}, {"mmx", &CopyMmx}, {"sse", &CopySse},
                  {"sse2", &CopySse2},   {"amd", &CopyAmd}};

  Arena source(40000 + 16);
  for (std::size_t i = 0; i < 40000 + 16; ++i) *source.at(i) = static_cast<uint8_t>(i * 7 + i / 251);

  for (const auto& variant : variants) {
    for (std::size_t size : sizes) {
      for (std::size_t sourceOffset : sourceOffsets) {
        for (std::size_t destOffset : destOffsets) {
          Arena dest(size + 16), expected(size + 16);
          std::memcpy(expected.at(destOffset), source.at(sourceOffset), size);
          variant.routine(dest.at(destOffset), source.at(sourceOffset), size);
          ASSERT_EQ(dest.all(), expected.all())
              << variant.name << " size " << size << " source +" << sourceOffset << " dest +"
              << destOffset;
        }
      }
    }
  }
}

TEST(MemoryCopy, SelectionFollowsFlagValue) {
  EXPECT_EQ(SelectCopyRoutine(0), &CopyPlain);
  EXPECT_EQ(SelectCopyRoutine(2), &CopyPlain);
  EXPECT_EQ(SelectCopyRoutine(-1), &CopyPlain);
  EXPECT_EQ(SelectCopyRoutine(1), &CopyMmx);
  EXPECT_EQ(SelectCopyRoutine(3), &CopyMmx);
  EXPECT_EQ(SelectCopyRoutine(15), &CopySse);
  EXPECT_EQ(SelectCopyRoutine(31), &CopySse2);
  EXPECT_EQ(SelectCopyRoutine(135), &CopyAmd);
  EXPECT_EQ(SelectCopyRoutine(143), &CopyAmd);
  EXPECT_EQ(SelectCopyRoutine(159), &CopyAmd);
}

TEST(MemoryCopy, SlotSettlesOnDetectedVariant) {
  Arena source(20000), dest(20000);
  for (std::size_t i = 0; i < 20000; ++i) *source.at(i) = static_cast<uint8_t>(i % 253);
  MemoryCopy(dest.at(0), source.at(0), 20000);
  EXPECT_EQ(std::memcmp(dest.at(0), source.at(0), 20000), 0);
  EXPECT_EQ(CurrentCopyRoutine(), SelectCopyRoutine(DetectProcessor()));
}

TEST(MemoryCopy, GuardedCopySurvivesBadAddresses) {
  const auto* badSource = reinterpret_cast<const void*>(uintptr_t{0x100});
  auto* badDest = reinterpret_cast<void*>(uintptr_t{0x100});
  Arena good(20000);
  GuardedCopy(good.at(0), badSource, 64);
  GuardedCopy(good.at(0), badSource, 20000);
  GuardedCopy(badDest, good.at(0), 20000);

  Arena source(100), dest(100);
  std::memset(source.at(0), 0x5A, 100);
  GuardedCopy(dest.at(0), source.at(0), 100);
  EXPECT_EQ(std::memcmp(dest.at(0), source.at(0), 100), 0);
}

TEST(MemoryFill, PlainFillsStayInBounds) {
  Arena bytes(32), expectedBytes(32);
  MemoryFillBytes(bytes.at(1), 13, 0xAB);
  std::memset(expectedBytes.at(1), 0xAB, 13);
  EXPECT_EQ(bytes.all(), expectedBytes.all());

  Arena dwords(64), expectedDwords(64);
  MemoryFillDwords(dwords.at(3), 7, 0xDEADBEEF);
  for (int i = 0; i < 7; ++i) {
    const uint32_t value = 0xDEADBEEF;
    std::memcpy(expectedDwords.at(3 + 4 * i), &value, 4);
  }
  EXPECT_EQ(dwords.all(), expectedDwords.all());

  Arena untouched(16);
  const std::vector<uint8_t> before = untouched.all();
  MemoryFillBytes(untouched.at(0), 0, 1);
  MemoryFillWords(untouched.at(0), 0, 1);
  MemoryFillDwords(untouched.at(0), 0, 1);
  EXPECT_EQ(untouched.all(), before);
}

TEST(MemoryFill, WordFillWritesZerosWhateverTheValue) {
  for (std::size_t offset : {0, 1, 2}) {
    Arena words(16), expected(16);
    MemoryFillWords(words.at(offset), 5, 0x1234);
    std::memset(expected.at(offset), 0, 10);
    EXPECT_EQ(words.all(), expected.all()) << "offset " << offset;
  }
}

}  // namespace
}  // namespace trvx
