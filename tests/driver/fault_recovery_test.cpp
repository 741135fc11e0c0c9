// Hostile hosts: bad pointers inside handlers come back as errors and leave the codec,
// the host process and later calls unharmed.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/codec_library.h"

namespace trvx::test {
namespace {

// An address no process has mapped: reads and writes through it fault.
const LPARAM kBadPointer = static_cast<LPARAM>(0x00000010);
const LPARAM kWildPointer = static_cast<LPARAM>(0xDEAD0000);

BITMAPINFOHEADER Rgb24(LONG width, LONG height) { return Bitmap(BI_RGB, 24, width, height); }

TEST(FaultRecovery, BadHostPointersGiveErrorsAndTheNextCallWorks) {
  ASSERT_TRUE(InstallCodec());
  HIC codec = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_QUERY);
  ASSERT_NE(codec, nullptr);
  const BITMAPINFOHEADER input = Rgb24(320, 240);
  BITMAPINFOHEADER compressed = Rgb24(320, 240);
  compressed.biCompression = FourCc("TRVX");
  const auto send = [&](UINT message, LPARAM lParam1, LPARAM lParam2) {
    return ICSendMessage(codec, message, lParam1, lParam2);
  };
  const auto at = [](const BITMAPINFOHEADER& header) { return reinterpret_cast<LPARAM>(&header); };

  for (LPARAM bad : {kBadPointer, kWildPointer}) {
    EXPECT_EQ(send(ICM_COMPRESS_QUERY, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_COMPRESS_QUERY, at(input), bad), ICERR_ERROR);
    EXPECT_EQ(send(ICM_COMPRESS_QUERY, at(input), 0), ICERR_OK) << "the next call works";
    EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, at(compressed), bad), ICERR_ERROR);
    EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, at(compressed), at(input)), ICERR_OK);

    EXPECT_EQ(send(ICM_COMPRESS_GET_FORMAT, at(input), bad), ICERR_ERROR);
    EXPECT_EQ(send(ICM_COMPRESS_GET_SIZE, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_DECOMPRESS_GET_FORMAT, at(compressed), bad), ICERR_ERROR);
    EXPECT_EQ(send(ICM_GETSTATE, bad, 8264), ICERR_ERROR);
    EXPECT_EQ(send(ICM_SETSTATE, bad, 8264), ICERR_ERROR);
    EXPECT_EQ(send(ICM_GETQUALITY, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_SETQUALITY, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_GETDEFAULTQUALITY, bad, 0), ICERR_ERROR);
    EXPECT_EQ(send(ICM_GETINFO, bad, sizeof(ICINFO)), ICERR_ERROR);
    EXPECT_EQ(send(ICM_COMPRESS_BEGIN, bad, at(input)), ICERR_ERROR);
    EXPECT_EQ(send(ICM_DECOMPRESS_BEGIN, bad, at(input)), ICERR_ERROR);
  }
  // A missing input is read before it is tested: the guard answers.
  EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, 0, 0), ICERR_ERROR);
  EXPECT_EQ(send(ICM_DECOMPRESS_GET_FORMAT, 0, at(input)), ICERR_ERROR);
  EXPECT_EQ(send(ICM_COMPRESS_QUERY, 0, 0), ICERR_BADFORMAT);
  EXPECT_EQ(ICClose(codec), ICERR_OK);
}

TEST(FaultRecovery, SessionMessagesRefuseWhatTheyCannotUse) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  BITMAPINFOHEADER input = Rgb24(320, 240);
  BITMAPINFOHEADER compressed = Rgb24(320, 240);
  compressed.biCompression = FourCc("TRVX");
  const BITMAPINFOHEADER odd = Rgb24(320, 232);
  const auto at = [](const BITMAPINFOHEADER& header) { return reinterpret_cast<LPARAM>(&header); };

  EXPECT_EQ(codec.Send(instance, ICM_COMPRESS_BEGIN, at(input), 0), ICERR_ERROR) << "no output format";
  EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS_BEGIN, at(compressed), 0), ICERR_ERROR) << "no output format";
  EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS_BEGIN, at(compressed), at(odd)), ICERR_ERROR)
      << "a refused format is an error at BEGIN";

  // A frame record of any size but this pointer width's: a shorter one, the other
  // width's, and in 64-bit the right size with high bits set.
  ICCOMPRESS compress = {};
  ICDECOMPRESS decompress = {};
  std::vector<std::pair<LPARAM, LPARAM>> wrongSizes = {{44, 20}, {sizeof(void*) == 4 ? 88 : 48, sizeof(void*) == 4 ? 48 : 24}};
  if constexpr (sizeof(LPARAM) == 8) {
    wrongSizes.push_back({static_cast<LPARAM>(sizeof compress | 1ull << 32), static_cast<LPARAM>(sizeof decompress | 1ull << 32)});
  }
  for (const auto& [compressSize, decompressSize] : wrongSizes) {
    EXPECT_EQ(codec.Send(instance, ICM_COMPRESS, reinterpret_cast<LPARAM>(&compress), compressSize), ICERR_ERROR);
    EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS, reinterpret_cast<LPARAM>(&decompress), decompressSize), ICERR_BADPARAM);
  }
  EXPECT_EQ(codec.Send(instance, ICM_COMPRESS_END), ICERR_OK);
  EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS_END), ICERR_OK);
  EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS_END), ICERR_OK) << "ending twice is harmless";
  codec.Send(instance, DRV_CLOSE);
}

}  // namespace
}  // namespace trvx::test
