// The codec as hosts meet it: installed in the registry and opened by the real
// Video Compression Manager.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/codec_library.h"

namespace trvx::test {
namespace {

TEST(VideoCompressionManager, InstalledCodecOpensAndDescribesItself) {
  ASSERT_TRUE(InstallCodec());
  HIC codec = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_COMPRESS);
  ASSERT_NE(codec, nullptr);

  // The fields themselves are the driver routing test's business.
  ICINFO info = {};
  EXPECT_EQ(ICGetInfo(codec, &info, sizeof info), 568);
  EXPECT_STREQ(info.szName, L"TRVX (MJPG)");

  // A lower-case handler finds the same driver.
  HIC lowerCase = ICOpen(mmioFOURCC('v', 'i', 'd', 'c'), FourCc("trvx"), ICMODE_DECOMPRESS);
  EXPECT_NE(lowerCase, nullptr);
  if (lowerCase != nullptr) ICClose(lowerCase);

  EXPECT_EQ(ICClose(codec), ICERR_OK);
}

TEST(VideoCompressionManager, StateRoundTripsBetweenInstances) {
  ASSERT_TRUE(InstallCodec());
  HIC first = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_COMPRESS);
  HIC second = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_DECOMPRESS);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);

  const LRESULT size = ICGetStateSize(first);
  ASSERT_EQ(size, 8264);
  static uint8_t state[8264];
  static uint8_t untouched[8264];
  ASSERT_EQ(ICGetState(first, state, size), ICERR_OK);
  std::memcpy(untouched, state, size);

  state[4] = 1;                        // change fields order
  std::memcpy(state + 16, "AVRN", 4);  // a third FourCC
  std::strcpy(reinterpret_cast<char*>(state + 8 + 64 + 2 * 512), "editor.exe");
  EXPECT_EQ(ICSetState(first, state, size), size);

  static uint8_t readBack[8264];
  ASSERT_EQ(ICGetState(first, readBack, size), ICERR_OK);
  EXPECT_EQ(std::memcmp(readBack, state, size), 0);
  // Each instance keeps its own copy.
  ASSERT_EQ(ICGetState(second, readBack, size), ICERR_OK);
  EXPECT_EQ(std::memcmp(readBack, untouched, size), 0);

  EXPECT_EQ(ICClose(first), ICERR_OK);
  EXPECT_EQ(ICClose(second), ICERR_OK);
}

// The About dialog finds the build text by the US-English Unicode translation.
TEST(VideoCompressionManager, VersionResourceCarriesTheBuildText) {
  const std::string path = CodecPath();
  const DWORD size = GetFileVersionInfoSizeA(path.c_str(), nullptr);
  ASSERT_GT(size, 0u);
  std::vector<char> block(size);
  ASSERT_TRUE(GetFileVersionInfoA(path.c_str(), 0, size, block.data()));

  WORD* translation = nullptr;
  UINT length = 0;
  ASSERT_TRUE(
      VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", reinterpret_cast<void**>(&translation), &length));
  ASSERT_GE(length, 4u);
  EXPECT_EQ(translation[0], 1033);
  EXPECT_EQ(translation[1], 1200);

  char* text = nullptr;
  ASSERT_TRUE(VerQueryValueA(block.data(), "\\StringFileInfo\\040904b0\\SpecialBuild", reinterpret_cast<void**>(&text),
                             &length));
  EXPECT_GT(std::strlen(text), 5u) << text;
}

}  // namespace
}  // namespace trvx::test
