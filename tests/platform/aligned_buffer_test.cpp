#include "platform/aligned_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace trvx {
namespace {

// Sizes come from hosts' bitmap headers: one near the top of the address space must
// not wrap round to a small block that the caller then overruns.
TEST(AlignedBuffer, RefusesSizesThatWouldWrapAndAlignsTheRest) {
  AlignedBuffer buffer;
  for (std::size_t size : {SIZE_MAX, SIZE_MAX - kWorkAreaAlignment + 1}) {
    buffer.Allocate(size);
    EXPECT_TRUE(buffer.empty()) << size;
  }
  buffer.Allocate(100);
  ASSERT_FALSE(buffer.empty());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % kWorkAreaAlignment, 0u);
}

}  // namespace
}  // namespace trvx
