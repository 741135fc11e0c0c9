// libjpeg-turbo as the peer of every benchmark here, through TurboJPEG on one thread:
// a two-field frame is two JPEG images, coded or decoded one after the other, each
// field's lines on every other line of the bitmap. Header only and TurboJPEG only, so
// that the 32-bit peer build needs nothing of the codec.
#pragma once

#include <turbojpeg.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace trvx::bench {

// The libjpeg-turbo quality whose tables the codec's quality 7000 builds.
inline constexpr int kPeerQuality = 94;

// RGB lands bottom-up, as the codec writes a positive-height DIB; packed YUV has no
// TurboJPEG counterpart, so planar 4:2:2 stands in for it.
enum class PeerLayout { Bgr24, Bgra32, YuvPlanes };

class PeerFrameDecoder {
 public:
  PeerFrameDecoder(int width, int height, PeerLayout layout, bool fastUpsample)
      : handle_(tjInitDecompress()), width_(width), height_(height), layout_(layout),
        flags_(fastUpsample ? TJFLAG_FASTUPSAMPLE : 0) {
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    if (layout == PeerLayout::YuvPlanes) {
      y_.resize(pixels);
      cb_.resize(pixels / 2);
      cr_.resize(pixels / 2);
    } else {
      bits_.resize(pixels * PixelBytes());
    }
  }
  ~PeerFrameDecoder() {
    if (handle_ != nullptr) tjDestroy(handle_);
  }
  PeerFrameDecoder(const PeerFrameDecoder&) = delete;
  PeerFrameDecoder& operator=(const PeerFrameDecoder&) = delete;

  bool ok() const { return handle_ != nullptr; }

  // One field's JPEG image; false when libjpeg-turbo refuses it or warns.
  bool DecodeField(int field, const uint8_t* jpeg, std::size_t size) {
    const int fieldHeight = height_ / 2;
    auto* data = const_cast<unsigned char*>(jpeg);
    const auto length = static_cast<unsigned long>(size);
    if (layout_ != PeerLayout::YuvPlanes) {
      const std::size_t rowBytes = static_cast<std::size_t>(width_) * PixelBytes();
      // Bottom-up: frame line 2l + f sits (fieldHeight - 1 - l) double rows above the
      // end, offset by one row for field 0.
      uint8_t* first = bits_.data() + (1 - field) * rowBytes;
      return tjDecompress2(handle_, data, length, first, width_, static_cast<int>(2 * rowBytes), fieldHeight,
                           layout_ == PeerLayout::Bgr24 ? TJPF_BGR : TJPF_BGRA, flags_ | TJFLAG_BOTTOMUP) == 0;
    }
    unsigned char* planes[3] = {y_.data() + field * width_, cb_.data() + field * (width_ / 2),
                                cr_.data() + field * (width_ / 2)};
    int strides[3] = {2 * width_, width_, width_};
    return tjDecompressToYUVPlanes(handle_, data, length, planes, width_, strides, fieldHeight, flags_) == 0;
  }

 private:
  std::size_t PixelBytes() const { return layout_ == PeerLayout::Bgra32 ? 4 : 3; }

  tjhandle handle_;
  int width_, height_;
  PeerLayout layout_;
  int flags_;
  std::vector<uint8_t> bits_, y_, cb_, cr_;
};

// 4:2:2 at kPeerQuality with the default Huffman tables, into preallocated buffers.
class PeerFrameEncoder {
 public:
  PeerFrameEncoder(int width, int height, bool fastDct)
      : handle_(tjInitCompress()), width_(width), height_(height),
        flags_(TJFLAG_NOREALLOC | (fastDct ? TJFLAG_FASTDCT : 0)),
        capacity_(tjBufSize(width, height / 2, TJSAMP_422)) {
    for (unsigned char*& buffer : jpeg_) buffer = tjAlloc(static_cast<int>(capacity_));
  }
  ~PeerFrameEncoder() {
    for (unsigned char* buffer : jpeg_) tjFree(buffer);
    if (handle_ != nullptr) tjDestroy(handle_);
  }
  PeerFrameEncoder(const PeerFrameEncoder&) = delete;
  PeerFrameEncoder& operator=(const PeerFrameEncoder&) = delete;

  bool ok() const { return handle_ != nullptr && jpeg_[0] != nullptr && jpeg_[1] != nullptr; }
  // Both fields of the last frame.
  unsigned long Bytes() const { return sizes_[0] + sizes_[1]; }

  // From a bottom-up BGR24 bitmap, reading every other row.
  bool EncodeBgr(const uint8_t* bitmap) {
    const std::size_t rowBytes = static_cast<std::size_t>(width_) * 3;
    bool ok = true;
    for (int field = 0; field < 2; ++field) {
      // Bottom-up: field 0's first line is the bitmap's second row from the end.
      const uint8_t* first = bitmap + (1 - field) * rowBytes;
      sizes_[field] = capacity_;
      ok &= tjCompress2(handle_, first, width_, static_cast<int>(2 * rowBytes), height_ / 2, TJPF_BGR, &jpeg_[field],
                        &sizes_[field], TJSAMP_422, kPeerQuality, flags_ | TJFLAG_BOTTOMUP) == 0;
    }
    return ok;
  }

  // From a top-down YUY2 bitmap: libjpeg-turbo has no packed input, so the frame is
  // split into planes first, as part of the frame's work.
  bool EncodeYuy2(const uint8_t* bitmap) {
    const std::size_t pairs = static_cast<std::size_t>(width_) * height_ / 2;
    y_.resize(2 * pairs);
    cb_.resize(pairs);
    cr_.resize(pairs);
    const uint8_t* in = bitmap;
    for (std::size_t pair = 0; pair < pairs; ++pair, in += 4) {
      y_[2 * pair] = in[0];
      cb_[pair] = in[1];
      y_[2 * pair + 1] = in[2];
      cr_[pair] = in[3];
    }
    bool ok = true;
    for (int field = 0; field < 2; ++field) {
      const unsigned char* planes[3] = {y_.data() + field * width_, cb_.data() + field * (width_ / 2),
                                        cr_.data() + field * (width_ / 2)};
      int strides[3] = {2 * width_, width_, width_};
      sizes_[field] = capacity_;
      ok &= tjCompressFromYUVPlanes(handle_, planes, width_, strides, height_ / 2, TJSAMP_422, &jpeg_[field],
                                    &sizes_[field], kPeerQuality, flags_) == 0;
    }
    return ok;
  }

 private:
  tjhandle handle_;
  int width_, height_;
  int flags_;
  unsigned long capacity_;
  unsigned char* jpeg_[2] = {};
  unsigned long sizes_[2] = {};
  std::vector<uint8_t> y_, cb_, cr_;
};

}  // namespace trvx::bench
