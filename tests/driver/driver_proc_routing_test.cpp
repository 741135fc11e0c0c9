// DriverProc called directly, as the Video Compression Manager would, to pin down which
// messages need an instance and which code each refusal carries, and that bad pointers
// inside handlers come back as errors, leaving the codec and the host unharmed.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <utility>
#include <vector>

#include "support/codec_library.h"

namespace trvx::test {
namespace {

constexpr DWORD_PTR kNoInstance = 0xFFFFFFFF;
constexpr LRESULT kError = ICERR_ERROR;
constexpr LRESULT kUnsupported = ICERR_UNSUPPORTED;

LPARAM At(const BITMAPINFOHEADER& header) { return reinterpret_cast<LPARAM>(&header); }

TEST(DriverRouting, DriverMessagesAnswerWithoutAnInstance) {
  CodecLibrary codec;
  for (UINT message : {DRV_LOAD, DRV_ENABLE, DRV_DISABLE, DRV_FREE, DRV_QUERYCONFIGURE, DRV_INSTALL, DRV_REMOVE}) {
    EXPECT_EQ(codec.Send(0, message), 1) << message;
  }
  // An open without ICOPEN record (the driver panel) yields the all-ones identifier.
  // In 64-bit too it is 0xFFFFFFFF, zero-extended.
  const LRESULT panelId = codec.Send(0, DRV_OPEN, 0, 0);
  EXPECT_EQ(static_cast<ULONG_PTR>(panelId), ULONG_PTR{0xFFFFFFFF});
  EXPECT_EQ(codec.Send(kNoInstance, DRV_CLOSE), 1);
  EXPECT_EQ(codec.Send(0, DRV_CLOSE), 1);
  EXPECT_EQ(codec.Send(kNoInstance, DRV_CONFIGURE, 0, 0), 0) << "no parent window: no dialog";

  // Below DRV_USER everything else belongs to the system's default driver procedure.
  for (UINT message : {0x000Bu, 0x0800u, 0x3FFFu}) {
    EXPECT_EQ(codec.Send(0, message, 1, 2), DefDriverProc(0, nullptr, message, 1, 2)) << message;
  }
}

// The heap that holds a pointer, among the process's heaps; null if none does.
HANDLE HeapHolding(const void* block) {
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  for (DWORD i = 0; i < count && i < 64; ++i) {
    if (HeapValidate(heaps[i], 0, block)) return heaps[i];
  }
  return nullptr;
}

// Keeps every byte of the address space and of one heap taken until it goes, so the
// next allocation from that heap fails. Holds its bookkeeping in static storage:
// while it lives, nothing else may allocate.
class MemoryExhaustion {
 public:
  explicit MemoryExhaustion(HANDLE heap) : heap_(heap) {
    for (SIZE_T size = SIZE_T{1} << 28; size >= 0x10000; size /= 2) {
      while (reservations_ < kSlots) {
        void* block = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
        if (block == nullptr) break;
        reserved_[reservations_++] = block;
      }
    }
    for (SIZE_T size = 0x100000; size >= 8; size /= 2) {
      while (blocks_ < kSlots) {
        void* block = HeapAlloc(heap_, 0, size);
        if (block == nullptr) break;
        taken_[blocks_++] = block;
      }
    }
  }
  ~MemoryExhaustion() {
    while (blocks_ > 0) HeapFree(heap_, 0, taken_[--blocks_]);
    while (reservations_ > 0) VirtualFree(reserved_[--reservations_], 0, MEM_RELEASE);
  }
  MemoryExhaustion(const MemoryExhaustion&) = delete;
  MemoryExhaustion& operator=(const MemoryExhaustion&) = delete;

 private:
  static constexpr std::size_t kSlots = 1 << 16;
  static inline void* reserved_[kSlots];
  static inline void* taken_[kSlots];
  HANDLE heap_;
  std::size_t reservations_ = 0;
  std::size_t blocks_ = 0;
};

// Instances live on a private heap that goes with the library. Its bad_alloc in the
// middle of DECOMPRESS_BEGIN and COMPRESS_BEGIN reaches DriverProc as a C++ exception:
// the host gets ICERR_MEMORY, not an unwind through its own frames, and the instance
// begins once memory is back.
TEST(DriverRouting, InstancesLiveOnAPrivateHeapWhoseExhaustionIsAMemoryError) {
  const DWORD heapsBefore = GetProcessHeaps(0, nullptr);
  {
    CodecLibrary codec;
    EXPECT_EQ(GetProcessHeaps(0, nullptr), heapsBefore + 1);
    const DWORD_PTR instance = codec.Open();
    const DWORD_PTR second = codec.Open();
    const HANDLE heap = HeapHolding(reinterpret_cast<void*>(instance));
    ASSERT_NE(heap, nullptr);
    EXPECT_NE(heap, GetProcessHeap());
    EXPECT_EQ(HeapHolding(reinterpret_cast<void*>(second)), heap);
    codec.Send(second, DRV_CLOSE);
    const BITMAPINFOHEADER compressed = Bitmap(FourCc("TRVX"), 24, 64, 32);
    const BITMAPINFOHEADER picture = Bitmap(BI_RGB, 24, 64, 32);
    LRESULT decompressBegin = 0, compressBegin = 0;
    {
      MemoryExhaustion exhaustion(heap);
      decompressBegin = codec.Send(instance, ICM_DECOMPRESS_BEGIN, At(compressed), At(picture));
      compressBegin = codec.Send(instance, ICM_COMPRESS_BEGIN, At(picture), At(compressed));
    }
    EXPECT_EQ(decompressBegin, ICERR_MEMORY);
    EXPECT_EQ(compressBegin, ICERR_MEMORY);
    EXPECT_EQ(codec.Send(instance, ICM_DECOMPRESS_BEGIN, At(compressed), At(picture)), ICERR_OK);
    codec.Send(instance, ICM_DECOMPRESS_END);
    codec.Send(instance, DRV_CLOSE);
  }
  EXPECT_EQ(GetProcessHeaps(0, nullptr), heapsBefore);
}

TEST(DriverRouting, CodecMessagesWithoutInstanceAreErrorsAndUnlistedOnesUnsupported) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  ASSERT_NE(instance, 0u);

  const UINT handled[] = {ICM_COMPRESS_GET_FORMAT, ICM_COMPRESS_GET_SIZE, ICM_COMPRESS_QUERY, ICM_COMPRESS_BEGIN,
                          ICM_COMPRESS, ICM_COMPRESS_END, ICM_DECOMPRESS_GET_FORMAT, ICM_DECOMPRESS_QUERY,
                          ICM_DECOMPRESS_BEGIN, ICM_DECOMPRESS, ICM_DECOMPRESS_END, ICM_GETSTATE, ICM_SETSTATE,
                          ICM_GETINFO, ICM_GETDEFAULTQUALITY, ICM_GETQUALITY, ICM_SETQUALITY};
  for (DWORD_PTR id : {DWORD_PTR{0}, kNoInstance}) {
    for (UINT message : handled) EXPECT_EQ(codec.Send(id, message), kError) << std::hex << message;
  }

  const UINT refusedDraw[] = {ICM_DRAW_BEGIN, ICM_DRAW_START, ICM_DRAW_STOP, ICM_DRAW_END, ICM_DRAW_QUERY,
                              ICM_DRAW_GETTIME, ICM_DRAW, ICM_DRAW_SETTIME, ICM_DRAW_FLUSH, ICM_GETBUFFERSWANTED};
  const UINT unlisted[] = {DRV_USER, ICM_DRAW_GET_PALETTE, ICM_DRAW_UPDATE, ICM_DRAW_BITS, ICM_DRAW_WINDOW,
                           ICM_DRAW_REALIZE, ICM_DECOMPRESS_SET_PALETTE, ICM_DECOMPRESS_GET_PALETTE, 0x402A,
                           0x4FFF, ICM_GETERRORTEXT, ICM_GETFORMATNAME, ICM_ENUMFORMATS, 0x501D, 0x5021, 0x7FFF};
  for (DWORD_PTR id : {DWORD_PTR{0}, kNoInstance, instance}) {
    for (UINT message : refusedDraw) EXPECT_EQ(codec.Send(id, message), kError) << std::hex << message;
    for (UINT message : unlisted) EXPECT_EQ(codec.Send(id, message), kUnsupported) << std::hex << message;
    // Asking whether a dialog exists needs no instance.
    EXPECT_EQ(codec.Send(id, ICM_CONFIGURE, -1), ICERR_OK);
    EXPECT_EQ(codec.Send(id, ICM_ABOUT, -1), ICERR_OK);
  }
  EXPECT_EQ(codec.Send(0, ICM_CONFIGURE, 0), kError);
  EXPECT_EQ(codec.Send(kNoInstance, ICM_ABOUT, 0), kError);

  EXPECT_EQ(codec.Send(instance, DRV_CLOSE), 1);
}

TEST(DriverRouting, InfoReportsNamesAndTheRecordSizeItWasGiven) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();

  EXPECT_EQ(codec.Send(instance, ICM_GETINFO, 0, sizeof(ICINFO)), 4);
  ICINFO info;
  std::memset(&info, 0xAB, sizeof info);
  EXPECT_EQ(codec.Send(instance, ICM_GETINFO, reinterpret_cast<LPARAM>(&info), 3), ICERR_BADSIZE);
  EXPECT_EQ(info.dwSize, 0xABABABABu) << "nothing written for a refused size";

  std::memset(&info, 0, sizeof info);  // the names are written up to their ends only
  EXPECT_EQ(codec.Send(instance, ICM_GETINFO, reinterpret_cast<LPARAM>(&info), 4), 568);
  const ICINFO expected = {
      4, ICTYPE_VIDEO, FourCc("TRVX"), VIDCF_QUALITY, 2002, ICVERSION, L"TRVX (MJPG)", L"Korvantelix M-JPEG", L""};
  EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0) << "size " << info.dwSize << ", flags " << info.dwFlags;

  codec.Send(instance, DRV_CLOSE);
}

TEST(DriverRouting, StateBlobIsTheSettingsRecordGuardedByItsTag) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  constexpr LPARAM kStateSize = 8264;

  EXPECT_EQ(codec.Send(instance, ICM_GETSTATE, 0, 0), kStateSize);
  static uint8_t state[kStateSize];
  EXPECT_EQ(codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(state), kStateSize - 1), ICERR_BADSIZE);
  if constexpr (sizeof(LPARAM) == 8) {
    EXPECT_EQ(codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(state), LPARAM(kStateSize - 1) << 32),
              ICERR_OK)
        << "a size is not cut to 32 bits";
  }
  ASSERT_EQ(codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(state), kStateSize), ICERR_OK);
  EXPECT_EQ(std::memcmp(state, "TRVX", 4), 0);
  EXPECT_EQ(std::memcmp(state + 8, "TRVXMJPG\0\0\0\0", 12), 0) << "the FourCC list";

  // A foreign tag changes nothing.
  static uint8_t changed[kStateSize];
  std::memcpy(changed, state, kStateSize);
  changed[4] = 1;                          // change fields order on
  std::memcpy(changed + 16, "AVRN", 4);    // third FourCC
  std::memcpy(changed, "MJPG", 4);
  EXPECT_EQ(codec.Send(instance, ICM_SETSTATE, reinterpret_cast<LPARAM>(changed), kStateSize), ICERR_ERROR);

  // The right tag copies the whole record whatever size was declared, and echoes the
  // size pointer-wide.
  std::memcpy(changed, "TRVX", 4);
  const LPARAM declared = sizeof(LPARAM) == 8 ? static_cast<LPARAM>(12 | 1ull << 32) : 12;
  EXPECT_EQ(codec.Send(instance, ICM_SETSTATE, reinterpret_cast<LPARAM>(changed), declared), declared);
  static uint8_t readBack[kStateSize];
  codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(readBack), kStateSize);
  EXPECT_EQ(std::memcmp(readBack, changed, kStateSize), 0);

  // No state at all: back to the settings the library started with.
  EXPECT_EQ(codec.Send(instance, ICM_SETSTATE, 0, 0), ICERR_OK);
  codec.Send(instance, ICM_GETSTATE, reinterpret_cast<LPARAM>(readBack), kStateSize);
  EXPECT_EQ(std::memcmp(readBack, state, kStateSize), 0);

  codec.Send(instance, DRV_CLOSE);
}

TEST(DriverRouting, QualityIsReadThroughPointersAndStartsUnset) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  auto pointer = [](DWORD& value) { return reinterpret_cast<LPARAM>(&value); };

  DWORD quality = 0;
  EXPECT_EQ(codec.Send(instance, ICM_GETDEFAULTQUALITY, pointer(quality)), ICERR_OK);
  EXPECT_EQ(quality, 7000u);
  EXPECT_EQ(codec.Send(instance, ICM_GETQUALITY, pointer(quality)), ICERR_UNSUPPORTED);
  EXPECT_EQ(quality, 10001u) << "no quality set yet";

  DWORD request = 10001;
  EXPECT_EQ(codec.Send(instance, ICM_SETQUALITY, pointer(request)), ICERR_UNSUPPORTED);
  request = 0;
  EXPECT_EQ(codec.Send(instance, ICM_SETQUALITY, pointer(request)), ICERR_OK);
  EXPECT_EQ(codec.Send(instance, ICM_GETQUALITY, pointer(quality)), ICERR_OK);
  EXPECT_EQ(quality, 400u);
  request = 10000;
  EXPECT_EQ(codec.Send(instance, ICM_SETQUALITY, pointer(request)), ICERR_OK);
  EXPECT_EQ(codec.Send(instance, ICM_GETQUALITY, pointer(quality)), ICERR_OK);
  EXPECT_EQ(quality, 10000u);

  codec.Send(instance, DRV_CLOSE);
}

TEST(DriverRouting, BadHostPointersGiveErrorsAndTheNextCallWorks) {
  CodecLibrary codec;
  const DWORD_PTR instance = codec.Open();
  const BITMAPINFOHEADER input = Bitmap(BI_RGB, 24, 320, 240), compressed = Bitmap(FourCc("TRVX"), 24, 320, 240);
  const auto send = [&](UINT message, LPARAM lParam1, LPARAM lParam2) {
    return codec.Send(instance, message, lParam1, lParam2);
  };
  // Addresses no process has mapped: reads and writes through them fault.
  for (LPARAM bad : {LPARAM{0x10}, static_cast<LPARAM>(0xDEAD0000)}) {
    const std::tuple<UINT, LPARAM, LPARAM> calls[] = {
        {ICM_COMPRESS_QUERY, bad, 0}, {ICM_COMPRESS_QUERY, At(input), bad}, {ICM_DECOMPRESS_QUERY, bad, 0},
        {ICM_DECOMPRESS_QUERY, At(compressed), bad}, {ICM_COMPRESS_GET_FORMAT, At(input), bad},
        {ICM_COMPRESS_GET_SIZE, bad, 0}, {ICM_DECOMPRESS_GET_FORMAT, At(compressed), bad}, {ICM_GETSTATE, bad, 8264},
        {ICM_SETSTATE, bad, 8264}, {ICM_GETQUALITY, bad, 0}, {ICM_SETQUALITY, bad, 0}, {ICM_GETDEFAULTQUALITY, bad, 0},
        {ICM_GETINFO, bad, sizeof(ICINFO)}, {ICM_COMPRESS_BEGIN, bad, At(input)},
        {ICM_DECOMPRESS_BEGIN, bad, At(input)}};
    for (const auto& [message, lParam1, lParam2] : calls) {
      EXPECT_EQ(send(message, lParam1, lParam2), kError) << std::hex << message;
      EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, At(compressed), At(input)), ICERR_OK) << "the next call works";
    }
  }
  // A missing input is read before it is tested: the guard answers.
  EXPECT_EQ(send(ICM_DECOMPRESS_QUERY, 0, 0), kError);
  EXPECT_EQ(send(ICM_DECOMPRESS_GET_FORMAT, 0, At(input)), kError);
  EXPECT_EQ(send(ICM_COMPRESS_QUERY, 0, 0), ICERR_BADFORMAT);

  EXPECT_EQ(send(ICM_COMPRESS_BEGIN, At(input), 0), kError) << "no output format";
  EXPECT_EQ(send(ICM_DECOMPRESS_BEGIN, At(compressed), 0), kError) << "no output format";
  const BITMAPINFOHEADER odd = Bitmap(BI_RGB, 24, 320, 232);
  EXPECT_EQ(send(ICM_DECOMPRESS_BEGIN, At(compressed), At(odd)), kError) << "a refused format is an error at BEGIN";
  // A frame record of any size but this pointer width's: a shorter one, the other
  // width's, and in 64-bit the right size with high bits set.
  ICCOMPRESS compress = {};
  ICDECOMPRESS decompress = {};
  std::vector<std::pair<LPARAM, LPARAM>> wrongSizes = {{44, 20},
                                                       {sizeof(void*) == 4 ? 88 : 48, sizeof(void*) == 4 ? 48 : 24}};
  if constexpr (sizeof(LPARAM) == 8) {
    wrongSizes.push_back(
        {static_cast<LPARAM>(sizeof compress | 1ull << 32), static_cast<LPARAM>(sizeof decompress | 1ull << 32)});
  }
  for (const auto& [compressSize, decompressSize] : wrongSizes) {
    EXPECT_EQ(send(ICM_COMPRESS, reinterpret_cast<LPARAM>(&compress), compressSize), kError);
    EXPECT_EQ(send(ICM_DECOMPRESS, reinterpret_cast<LPARAM>(&decompress), decompressSize), ICERR_BADPARAM);
  }
  codec.Send(instance, DRV_CLOSE);
}

}  // namespace
}  // namespace trvx::test
