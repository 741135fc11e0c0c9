// ffmpeg's side of the benchmark. libswscale has no JPEG-style averaging
// for the chroma of RGB input; SWS_FAST_BILINEAR is its cheapest choice, so the peer
// is not slowed by a finer filter than the codec's.
#include "ffmpeg_peer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <memory>
#include <vector>

namespace trvx::bench {
namespace {

struct LibavDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
template <typename T>
using Owned = std::unique_ptr<T, LibavDeleter>;

struct Layout {
  AVPixelFormat format;
  int bytesPerPixel;
  bool bottomUp;
};

Layout LayoutOf(Bitmap bitmap) {
  switch (bitmap) {
    case Bitmap::Bgr24:
      return {AV_PIX_FMT_BGR24, 3, true};
    case Bitmap::Bgra32:
      return {AV_PIX_FMT_BGRA, 4, true};
    case Bitmap::Uyvy:
      return {AV_PIX_FMT_UYVY422, 2, false};
    case Bitmap::Yuy2:
      return {AV_PIX_FMT_YUYV422, 2, false};
  }
  return {AV_PIX_FMT_NONE, 0, false};
}

// A scaler between a bitmap layout and planar 4:2:2. RGB meets full-range (JPEG) YUV;
// the packed YUV bitmaps carry JPEG samples as they are, so for them both sides keep
// one range and the scaler only packs or unpacks.
SwsContext* MakeScaler(Size size, const Layout& layout, bool toBitmap) {
  const AVPixelFormat planar = AV_PIX_FMT_YUV422P;
  SwsContext* scaler =
      sws_getContext(size.width, size.height, toBitmap ? planar : layout.format, size.width, size.height,
                     toBitmap ? layout.format : planar, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
  if (scaler != nullptr && layout.bottomUp) {
    const int* bt601 = sws_getCoefficients(SWS_CS_ITU601);
    const int yuvRange = 1, rgbRange = 1;
    sws_setColorspaceDetails(scaler, bt601, toBitmap ? yuvRange : rgbRange, bt601, toBitmap ? rgbRange : yuvRange, 0,
                             1 << 16, 1 << 16);
  }
  return scaler;
}

// Every step-th line of the bitmap from frame line first (top line 0): where the first
// of them starts and the distance to the next, which is negative for bottom-up bitmaps.
struct Lines {
  uint8_t* start;
  int stride;
};
Lines BitmapLines(const uint8_t* bitmap, Size size, const Layout& layout, int first, int step) {
  const int rowBytes = size.width * layout.bytesPerPixel;
  const int row = layout.bottomUp ? size.height - 1 - first : first;
  return {const_cast<uint8_t*>(bitmap) + static_cast<std::size_t>(row) * rowBytes,
          (layout.bottomUp ? -step : step) * rowBytes};
}

Owned<AVCodecContext> OpenCodec(const AVCodec* codec, Size size, AVPixelFormat format, AVDictionary** settings,
                                const uint16_t* lumaTable = nullptr, const uint16_t* chromaTable = nullptr) {
  if (codec == nullptr) return nullptr;
  Owned<AVCodecContext> context(avcodec_alloc_context3(codec));
  if (!context) return nullptr;
  context->width = context->coded_width = size.width;
  context->height = context->coded_height = size.height;
  context->pix_fmt = format;
  context->time_base = {1, 25};
  context->thread_count = 1;
  if (lumaTable != nullptr) {
    // The encoder multiplies each entry by qscale / 8: a fixed qscale of 8 keeps them as given.
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = 8 * FF_QP2LAMBDA;
    context->intra_matrix = static_cast<uint16_t*>(av_malloc(64 * sizeof(uint16_t)));
    context->chroma_intra_matrix = static_cast<uint16_t*>(av_malloc(64 * sizeof(uint16_t)));
    if (context->intra_matrix == nullptr || context->chroma_intra_matrix == nullptr) return nullptr;
    std::memcpy(context->intra_matrix, lumaTable, 64 * sizeof(uint16_t));
    std::memcpy(context->chroma_intra_matrix, chromaTable, 64 * sizeof(uint16_t));
  }
  if (avcodec_open2(context.get(), codec, settings) < 0) return nullptr;
  return context;
}

void KeepBuffer(void*, uint8_t*) {}

}  // namespace

double FfmpegDecodeFps(const Options& options, const uint8_t* frame, std::size_t length, Size size, Bitmap output) {
  const Layout layout = LayoutOf(output);
  Owned<AVCodecContext> context = OpenCodec(avcodec_find_decoder(AV_CODEC_ID_MJPEG), size, AV_PIX_FMT_NONE, nullptr);
  Owned<AVPacket> packet(av_packet_alloc());
  Owned<AVFrame> picture(av_frame_alloc());
  Owned<SwsContext> scaler(MakeScaler(size, layout, true));
  if (!context || !packet || !picture || !scaler) return 0;
  // A borrowed reference-counted view, so that libavcodec takes the frame without a copy;
  // the caller's frame is followed by zero padding, as libavcodec requires.
  packet->buf = av_buffer_create(const_cast<uint8_t*>(frame), length + AV_INPUT_BUFFER_PADDING_SIZE, KeepBuffer,
                                 nullptr, AV_BUFFER_FLAG_READONLY);
  if (packet->buf == nullptr) return 0;
  packet->data = packet->buf->data;
  packet->size = static_cast<int>(length);

  std::vector<uint8_t> bits(static_cast<std::size_t>(size.width) * size.height * layout.bytesPerPixel);
  const Lines out = BitmapLines(bits.data(), size, layout, 0, 1);
  bool failed = false;
  const double fps = MeasureFps(options, [&] {
    if (avcodec_send_packet(context.get(), packet.get()) < 0 ||
        avcodec_receive_frame(context.get(), picture.get()) < 0 || picture->height != size.height) {
      failed = true;
      return;
    }
    uint8_t* const planes[4] = {out.start};
    const int strides[4] = {out.stride};
    sws_scale(scaler.get(), picture->data, picture->linesize, 0, size.height, planes, strides);
    av_frame_unref(picture.get());
  });
  return failed ? 0 : fps;
}

double FfmpegEncodeFps(const Options& options, const uint8_t* bitmap, Size size, Bitmap input,
                       const uint16_t* lumaTable, const uint16_t* chromaTable, unsigned long& bytes) {
  const Layout layout = LayoutOf(input);
  const Size field = {size.width, size.height / 2};
  AVDictionary* settings = nullptr;
  av_dict_set(&settings, "huffman", "default", 0);
  Owned<AVCodecContext> context =
      OpenCodec(avcodec_find_encoder(AV_CODEC_ID_MJPEG), field, AV_PIX_FMT_YUVJ422P, &settings, lumaTable, chromaTable);
  av_dict_free(&settings);
  Owned<AVPacket> packet(av_packet_alloc());
  Owned<AVFrame> picture(av_frame_alloc());
  Owned<SwsContext> scaler(MakeScaler(field, layout, false));
  if (!context || !packet || !picture || !scaler) return 0;
  picture->format = AV_PIX_FMT_YUVJ422P;
  picture->width = field.width;
  picture->height = field.height;
  if (av_frame_get_buffer(picture.get(), 0) < 0) return 0;

  bool failed = false;
  unsigned long frameBytes = 0;
  const double fps = MeasureFps(options, [&] {
    frameBytes = 0;
    for (int fieldIndex = 0; fieldIndex < 2; ++fieldIndex) {
      const Lines in = BitmapLines(bitmap, size, layout, fieldIndex, 2);
      const uint8_t* const source[4] = {in.start};
      const int strides[4] = {in.stride};
      if (av_frame_make_writable(picture.get()) < 0) failed = true;
      sws_scale(scaler.get(), source, strides, 0, field.height, picture->data, picture->linesize);
      picture->quality = context->global_quality;
      if (avcodec_send_frame(context.get(), picture.get()) < 0 ||
          avcodec_receive_packet(context.get(), packet.get()) < 0) {
        failed = true;
        return;
      }
      frameBytes += packet->size;
      av_packet_unref(packet.get());
    }
  });
  bytes = frameBytes;
  return failed ? 0 : fps;
}

}  // namespace trvx::bench
