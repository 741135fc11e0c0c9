#include "codec_streams.h"

#include <cstdlib>
#include <stdexcept>

namespace trvx::demo {
namespace {

const DWORD kTrvx = mmioFOURCC('T', 'R', 'V', 'X');

// M-JPEG decoders look for markers a little beyond a frame's last byte (up to about
// 128 KiB on a damaged frame); room behind the frame keeps those reads in our buffer.
constexpr std::size_t kDecoderReadRoom = 0x10400 + 0x10000 + 64;

BITMAPINFOHEADER Yuy2Format(FrameSize size) {
  BITMAPINFOHEADER format = {};
  format.biSize = sizeof format;
  format.biWidth = size.width;
  format.biHeight = size.height;  // packed YUV is top-down with a positive height
  format.biPlanes = 1;
  format.biBitCount = 16;
  format.biCompression = mmioFOURCC('Y', 'U', 'Y', '2');
  format.biSizeImage = static_cast<DWORD>(size.Bytes());
  return format;
}

BITMAPINFOHEADER* Header(FrameBytes& format) { return reinterpret_cast<BITMAPINFOHEADER*>(format.data()); }

void Check(bool ok, const std::string& failure) {
  if (!ok) throw std::runtime_error(failure);
}

}  // namespace

AviCompressor::AviCompressor(const std::string& path, FrameSize size, DWORD framesPerSecond)
    : input_(Yuy2Format(size)) {
  codec_.reset(ICOpen(ICTYPE_VIDEO, kTrvx, ICMODE_COMPRESS));
  Check(codec_ != nullptr, "the TRVX codec is not installed");
  HIC codec = codec_.get();
  compressedFormat_.resize(ICCompressGetFormatSize(codec, &input_));
  BITMAPINFOHEADER* format = Header(compressedFormat_);
  Check(ICCompressGetFormat(codec, &input_, format) == ICERR_OK && ICCompressQuery(codec, &input_, format) == ICERR_OK,
        "the codec refuses YUY2 frames of this size");
  compressed_.resize(ICCompressGetSize(codec, &input_, format));
  ICSendMessage(codec, ICM_GETDEFAULTQUALITY, reinterpret_cast<DWORD_PTR>(&quality_), sizeof quality_);
  Check(ICCompressBegin(codec, &input_, format) == ICERR_OK, "ICCompressBegin failed");

  PAVIFILE file = nullptr;
  Check(AVIFileOpenA(&file, path.c_str(), OF_CREATE | OF_WRITE, nullptr) == 0, "cannot create " + path);
  file_.reset(file);
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.fccHandler = kTrvx;
  info.dwScale = 1;
  info.dwRate = framesPerSecond;
  info.dwSuggestedBufferSize = static_cast<DWORD>(compressed_.size());
  SetRect(&info.rcFrame, 0, 0, size.width, size.height);
  PAVISTREAM stream = nullptr;
  Check(AVIFileCreateStreamA(file, &stream, &info) == 0, "cannot add a video stream to " + path);
  stream_.reset(stream);
  Check(AVIStreamSetFormat(stream, 0, compressedFormat_.data(), static_cast<LONG>(compressedFormat_.size())) == 0,
        "cannot set the stream format");
}

AviCompressor::~AviCompressor() { ICCompressEnd(codec_.get()); }

std::size_t AviCompressor::Write(const FrameBytes& frame) {
  BITMAPINFOHEADER* format = Header(compressedFormat_);
  DWORD chunkId = 0;
  DWORD flags = AVIIF_KEYFRAME;
  const LRESULT result = clock_.Measure([&] {
    return static_cast<LRESULT>(ICCompress(codec_.get(), ICCOMPRESS_KEYFRAME, format, compressed_.data(), &input_,
                                           const_cast<uint8_t*>(frame.data()), &chunkId, &flags, frameIndex_, 0,
                                           quality_, nullptr, nullptr));
  });
  Check(result == ICERR_OK, "ICCompress failed on frame " + std::to_string(frameIndex_));
  Check(AVIStreamWrite(stream_.get(), frameIndex_, 1, compressed_.data(), static_cast<LONG>(format->biSizeImage),
                       AVIIF_KEYFRAME, nullptr, nullptr) == 0,
        "cannot write frame " + std::to_string(frameIndex_));
  ++frameIndex_;
  return format->biSizeImage;
}

AviDecompressor::AviDecompressor(const std::string& path) {
  PAVIFILE file = nullptr;
  Check(AVIFileOpenA(&file, path.c_str(), OF_READ | OF_SHARE_DENY_WRITE, nullptr) == 0, "cannot open " + path);
  file_.reset(file);
  PAVISTREAM stream = nullptr;
  Check(AVIFileGetStream(file, &stream, streamtypeVIDEO, 0) == 0, path + " has no video stream");
  stream_.reset(stream);
  AVISTREAMINFOA info = {};
  AVIStreamInfoA(stream, &info, sizeof info);
  LONG formatSize = 0;
  AVIStreamReadFormat(stream, 0, nullptr, &formatSize);
  compressedFormat_.resize(formatSize);
  Check(formatSize >= static_cast<LONG>(sizeof(BITMAPINFOHEADER)) &&
            AVIStreamReadFormat(stream, 0, compressedFormat_.data(), &formatSize) == 0,
        path + " has no picture format");
  BITMAPINFOHEADER* format = Header(compressedFormat_);
  size_ = {format->biWidth, std::abs(format->biHeight)};
  output_ = Yuy2Format(size_);
  frameCount_ = AVIStreamLength(stream);

  codec_.reset(ICLocate(ICTYPE_VIDEO, info.fccHandler, format, &output_, ICMODE_DECOMPRESS));
  Check(codec_ != nullptr, "no installed codec decompresses this stream to YUY2");
  Check(ICDecompressBegin(codec_.get(), format, &output_) == ICERR_OK, "ICDecompressBegin failed");
}

AviDecompressor::~AviDecompressor() { ICDecompressEnd(codec_.get()); }

FrameBytes AviDecompressor::Read(int index) {
  // Asked without a buffer, AVIFile tells the frame's size.
  LONG bytes = 0;
  AVIStreamRead(stream_.get(), index, 1, nullptr, 0, &bytes, nullptr);
  if (compressed_.size() < bytes + kDecoderReadRoom) compressed_.resize(bytes + kDecoderReadRoom);
  Check(AVIStreamRead(stream_.get(), index, 1, compressed_.data(), bytes, &bytes, nullptr) == 0,
        "cannot read frame " + std::to_string(index));
  Header(compressedFormat_)->biSizeImage = static_cast<DWORD>(bytes);
  FrameBytes picture(size_.Bytes());
  const LRESULT result = clock_.Measure([&] {
    return static_cast<LRESULT>(
        ICDecompress(codec_.get(), 0, Header(compressedFormat_), compressed_.data(), &output_, picture.data()));
  });
  Check(result == ICERR_OK, "ICDecompress failed on frame " + std::to_string(index));
  return picture;
}

}  // namespace trvx::demo
