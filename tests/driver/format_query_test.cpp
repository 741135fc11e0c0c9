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

enum class Expect { Accepted, Refused, AcceptedUnlessDefectiveHost };

struct QueryRow {
  const char* what;
  BITMAPINFOHEADER input;
  bool hasOutput;
  BITMAPINFOHEADER output;
  Expect expect;
};

LRESULT Expected(Expect expect) {
  if (expect == Expect::Refused) return ICERR_BADFORMAT;
  if (expect == Expect::AcceptedUnlessDefectiveHost && RunningAsDefectiveHost()) return ICERR_BADFORMAT;
  return ICERR_OK;
}

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
      {"24-bit RGB", Bitmap(kRgb, 24, 320, 240), false, none, Expect::Accepted},
      {"32-bit RGB", Bitmap(kRgb, 32, 720, 576), false, none, Expect::Accepted},
      {"top-down 24-bit RGB", Bitmap(kRgb, 24, 320, -240), false, none, Expect::Accepted},
      {"smallest picture", Bitmap(kRgb, 24, 16, 16), false, none, Expect::Accepted},
      {"16-bit RGB", Bitmap(kRgb, 16, 320, 240), false, none, Expect::Refused},
      {"8-bit palette", Bitmap(kRgb, 8, 320, 240), false, none, Expect::Refused},
      {"height not a multiple of 16", Bitmap(kRgb, 24, 320, 232), false, none, Expect::Refused},
      {"width not a multiple of 16", Bitmap(kRgb, 24, 328, 240), false, none, Expect::Refused},
      {"YUY2", Bitmap(kYuy2, 16, 320, 240), false, none, Expect::AcceptedUnlessDefectiveHost},
      {"lower-case yuy2", Bitmap(FourCc("yuy2"), 16, 320, 240), false, none, Expect::AcceptedUnlessDefectiveHost},
      {"UYVY", Bitmap(FourCc("UYVY"), 16, 320, 240), false, none, Expect::AcceptedUnlessDefectiveHost},
      {"YVYU", Bitmap(FourCc("YVYU"), 16, 320, 240), false, none, Expect::AcceptedUnlessDefectiveHost},
      {"Y16 with a zero byte", Bitmap(kY16, 16, 320, 240), false, none, Expect::AcceptedUnlessDefectiveHost},
      {"Y16 with a space", Bitmap(FourCc("Y16 "), 16, 320, 240), false, none, Expect::Refused},
      {"YUY2 of 24 bits", Bitmap(kYuy2, 24, 320, 240), false, none, Expect::Refused},
      {"planar YV12", Bitmap(FourCc("YV12"), 12, 320, 240), false, none, Expect::Refused},
      {"compressed input", Bitmap(kTrvx, 24, 320, 240), false, none, Expect::Refused},
      {"TRVX output", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, 240), Expect::Accepted},
      {"lower-case mjpg output", Bitmap(kRgb, 24, 320, 240), true, Bitmap(FourCc("mjpg"), 24, 320, 240),
       Expect::Accepted},
      {"unlisted output FourCC", Bitmap(kRgb, 24, 320, 240), true, Bitmap(FourCc("AVRN"), 24, 320, 240),
       Expect::Refused},
      {"output of another height", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, 256), Expect::Refused},
      {"output flipped", Bitmap(kRgb, 24, 320, 240), true, Bitmap(kTrvx, 24, 320, -240), Expect::Refused},
      {"output bit count is not checked", Bitmap(kRgb, 32, 320, 240), true, Bitmap(kTrvx, 7, 320, 240),
       Expect::Accepted},
  };
  for (const QueryRow& row : rows) {
    EXPECT_EQ(ICCompressQuery(codec_, &row.input, row.hasOutput ? &row.output : nullptr), Expected(row.expect))
        << row.what;
  }
}

TEST_F(FormatQuery, DecompressionTable) {
  const BITMAPINFOHEADER none = {};
  const QueryRow rows[] = {
      {"TRVX alone", Bitmap(kTrvx, 24, 720, 576), false, none, Expect::Accepted},
      {"lower-case mjpg alone", Bitmap(FourCc("mjpg"), 24, 720, 576), false, none, Expect::Accepted},
      {"unlisted AVRn", Bitmap(FourCc("AVRn"), 24, 720, 576), false, none, Expect::Refused},
      {"short header", Bitmap(kTrvx, 24, 720, 576, 39), false, none, Expect::Refused},
      {"height not a multiple of 16", Bitmap(kTrvx, 24, 720, 570), false, none, Expect::Refused},
      {"to 24-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 24, 720, 576), Expect::Accepted},
      {"to 32-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 720, 576), Expect::Accepted},
      {"to 16-bit RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 16, 720, 576), Expect::Refused},
      {"to top-down RGB", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 720, -576), Expect::Refused},
      {"to another width", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kRgb, 32, 704, 576), Expect::Refused},
      {"to YUY2", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kYuy2, 16, 720, 576), Expect::AcceptedUnlessDefectiveHost},
      {"to uyvy", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(FourCc("uyvy"), 16, 720, 576),
       Expect::AcceptedUnlessDefectiveHost},
      {"to Y16", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kY16, 16, 720, 576), Expect::AcceptedUnlessDefectiveHost},
      {"to YUY2 of 32 bits", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kYuy2, 32, 720, 576), Expect::Refused},
      {"to TRVX", Bitmap(kTrvx, 24, 720, 576), true, Bitmap(kTrvx, 24, 720, 576), Expect::Refused},
  };
  for (const QueryRow& row : rows) {
    EXPECT_EQ(ICDecompressQuery(codec_, &row.input, row.hasOutput ? &row.output : nullptr), Expected(row.expect))
        << row.what;
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
