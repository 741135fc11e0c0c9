// Which formats the codec takes and offers, through the real Video Compression Manager.
// The same program also runs under the name of a host on the defective list, which
// must never be offered packed YUV.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/codec_library.h"

namespace trvx::test {
namespace {

bool RunningAsDefectiveHost() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, sizeof path);
  const char* name = std::strrchr(path, '\\');
  return lstrcmpiA(name != nullptr ? name + 1 : path, "wmplayer.exe") == 0;
}

constexpr DWORD kRgb = BI_RGB;
const DWORD kYuy2 = FourCc("YUY2");
const DWORD kY16 = mmioFOURCC('Y', '1', '6', 0);
const DWORD kTrvx = FourCc("TRVX");

constexpr LRESULT kOk = ICERR_OK, kBad = ICERR_BADFORMAT;
// Packed YUV is taken unless the host is on the defective list.
const LRESULT kYuv = RunningAsDefectiveHost() ? kBad : kOk;

struct QueryRow {
  const char* what;
  BITMAPINFOHEADER input;
  bool hasOutput;
  BITMAPINFOHEADER output;
  LRESULT expected;
};

class FormatQuery : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(InstallCodec());
    // Hosts may name the handler and its type in lower case.
    codec_ = ICOpen(mmioFOURCC('v', 'i', 'd', 'c'), FourCc("trvx"), ICMODE_QUERY);
    ASSERT_NE(codec_, nullptr);
  }
  void TearDown() override { ICClose(codec_); }

  HIC codec_ = nullptr;
};

TEST_F(FormatQuery, CompressionInputTable) {
  const BITMAPINFOHEADER none = {};
  const QueryRow rows[] = {
      {"24-bit RGB", Bitmap(kRgb, 24, 320, 240), false, none, kOk},
      {"32-bit RGB", Bitmap(kRgb, 32, 720, 576), false, none, kOk},
      {"top-down 24-bit RGB", Bitmap(kRgb, 24, 320, -240), false, none, kOk},
      {"smallest picture", Bitmap(kRgb, 24, 16, 16), false, none, kOk},
      {"16-bit RGB", Bitmap(kRgb, 16, 320, 240), false, none, kBad},
      {"8-bit palette", Bitmap(kRgb, 8, 320, 240), false, none, kBad},
      {"height not a multiple of 16", Bitmap(kRgb, 24, 320, 232), false, none, kBad},
      {"width not a multiple of 16", Bitmap(kRgb, 24, 328, 240), false, none, kBad},
      {"YUY2", Bitmap(kYuy2, 16, 320, 240), false, none, kYuv},
      {"lower-case yuy2", Bitmap(FourCc("yuy2"), 16, 320, 240), false, none, kYuv},
      {"UYVY", Bitmap(FourCc("UYVY"), 16, 320, 240), false, none, kYuv},
      {"YVYU", Bitmap(FourCc("YVYU"), 16, 320, 240), false, none, kYuv},
      {"Y16 with a zero byte", Bitmap(kY16, 16, 320, 240), false, none, kYuv},
      {"Y16 with a space", Bitmap(FourCc("Y16 "), 16, 320, 240), false, none, kBad},
      {"YUY2 of 24 bits", Bitmap(kYuy2, 24, 320, 240), false, none, kBad},
      {"planar YV12", Bitmap(FourCc("YV12"), 12, 320, 240), false, none, kBad},
      {"compressed input", Bitmap(kTrvx, 24, 320, 240), false, none, kBad},
      {"TRVX output", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, 240), kOk},
      {"lower-case mjpg output", Bitmap(kRgb, 24, 320, 240), true, Bitmap(FourCc("mjpg"), 24, 320, 240), kOk},
      {"unlisted output FourCC", Bitmap(kRgb, 24, 320, 240), true, Bitmap(FourCc("AVRN"), 24, 320, 240), kBad},
      {"output of another height", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, 256), kBad},
      {"output flipped", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, -240), kBad},
      {"output bit count is not checked", Bitmap(kRgb, 32, 320, 240), true, Bitmap(kTrvx, 7, 320, 240), kOk},
  };
  for (const QueryRow& row : rows) {
    EXPECT_EQ(ICCompressQuery(codec_, &row.input, row.hasOutput ? &row.output : nullptr), row.expected) << row.what;
  }
}

TEST_F(FormatQuery, DecompressionTable) {
  const BITMAPINFOHEADER none = {};
  const QueryRow rows[] = {
      {"TRVX alone", Bitmap(kTrvx, 24, 720, 576), false, none, kOk},
      {"lower-case mjpg alone", Bitmap(FourCc("mjpg"), 24, 720, 576), false, none, kOk},
      {"unlisted AVRn", Bitmap(FourCc("AVRn"), 24, 720, 576), false, none, kBad},
      {"short header", Bitmap(kTrvx, 24, 720, 576, 39), false, none, kBad},
      {"height not a multiple of 16", Bitmap(kTrvx, 24, 720, 570), false, none, kBad},
      {"to 24-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 24, 720, 576), kOk},
      {"to 32-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 720, 576), kOk},
      {"to 16-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 16, 720, 576), kBad},
      {"to top-down RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 720, -576), kBad},
      {"to another width", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 704, 576), kBad},
      {"to YUY2", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kYuy2, 16, 720, 576), kYuv},
      {"to uyvy", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(FourCc("uyvy"), 16, 720, 576), kYuv},
      {"to Y16", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kY16, 16, 720, 576), kYuv},
      {"to YUY2 of 32 bits", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kYuy2, 32, 720, 576), kBad},
      {"to TRVX", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kTrvx, 24, 720, 576), kBad},
  };
  for (const QueryRow& row : rows) {
    EXPECT_EQ(ICDecompressQuery(codec_, &row.input, row.hasOutput ? &row.output : nullptr), row.expected) << row.what;
  }
}

TEST_F(FormatQuery, AddedFourCcIsDecodedOnceInTheInstanceList) {
  const BITMAPINFOHEADER avrn = Bitmap(FourCc("AVRn"), 24, 320, 240);
  ASSERT_EQ(ICDecompressQuery(codec_, &avrn, nullptr), ICERR_BADFORMAT);
  static uint8_t state[8264];
  ASSERT_EQ(ICGetState(codec_, state, sizeof state), ICERR_OK);
  std::memcpy(state + 16, "AVRN", 4);
  ASSERT_EQ(ICSetState(codec_, state, sizeof state), static_cast<LRESULT>(sizeof state));
  EXPECT_EQ(ICDecompressQuery(codec_, &avrn, nullptr), ICERR_OK);

  // Removing TRVX from the list stops the codec from producing its own output.
  std::memcpy(state + 8, "AVRNMJPG\0\0\0\0", 12);
  ICSetState(codec_, state, sizeof state);
  const BITMAPINFOHEADER rgb = Bitmap(kRgb, 24, 320, 240);
  const BITMAPINFOHEADER trvx = Bitmap(kTrvx, 24, 320, 240);
  EXPECT_EQ(ICCompressQuery(codec_, &rgb, &trvx), ICERR_BADFORMAT);
}

TEST_F(FormatQuery, ProposedFormatsAndSizes) {
  const BITMAPINFOHEADER rgb = Bitmap(kRgb, 24, 720, -576);
  EXPECT_EQ(ICCompressGetFormatSize(codec_, &rgb), 68);
  uint32_t proposal[17];
  std::memset(proposal, 0xAB, sizeof proposal);
  ASSERT_EQ(ICCompressGetFormat(codec_, &rgb, proposal), ICERR_OK);
  const uint32_t expected[17] = {
      68, 720, static_cast<uint32_t>(-576), 1u | 24u << 16, FourCc("TRVX"), 0, 0, 0, 0, 0, 44, 24, 0, 2, 8, 2, 1};
  EXPECT_EQ(std::memcmp(proposal, expected, sizeof expected), 0);
  EXPECT_EQ(ICSendMessage(codec_, ICM_COMPRESS_GET_FORMAT, 0, 0), ICERR_ERROR);

  EXPECT_EQ(ICCompressGetSize(codec_, &rgb, nullptr), 720 * -576 * 4 + 1024);
  const BITMAPINFOHEADER pal = Bitmap(kRgb, 24, 720, 576);
  EXPECT_EQ(ICCompressGetSize(codec_, &pal, nullptr), 1659904);
  EXPECT_EQ(ICSendMessage(codec_, ICM_COMPRESS_GET_SIZE, 0, 0), ICERR_ERROR);

  const BITMAPINFOHEADER compressed = Bitmap(FourCc("MJPG"), 24, 720, 576);
  EXPECT_EQ(ICDecompressGetFormatSize(codec_, &compressed), 40);
  BITMAPINFOHEADER output;
  std::memset(&output, 0xAB, sizeof output);
  ASSERT_EQ(ICDecompressGetFormat(codec_, &compressed, &output), ICERR_OK);
  BITMAPINFOHEADER expectedOutput = Bitmap(kRgb, 32, 720, 576);
  EXPECT_EQ(std::memcmp(&output, &expectedOutput, sizeof output), 0);
}

}  // namespace
}  // namespace trvx::test
