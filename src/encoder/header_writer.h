// The marker segments in front of each field image, and the sizes and offsets patched
// into them once the field's coded data is known.
#pragma once

#include <cstdint>

#include "format/frame_description.h"

namespace trvx {

constexpr uint32_t kFieldHeaderLength = 237;
constexpr uint32_t kTrailerBytes = 2;

// Remembers only the field image whose headers it wrote last: a trailer always
// patches that one, whichever field it ends. In two-thread coding the second image's
// headers are written before the first image's trailer, so the first image keeps
// zero sizes and offsets; the decoder then finds the second image by consumption.
class HeaderWriter {
 public:
  HeaderWriter() noexcept = default;
  virtual ~HeaderWriter();

  // SOI, APP0 "AVI1", APP1 "mjpg", DRI, DQT, SOF0, SOS; returns the bytes written.
  virtual uint32_t WriteHeaders(uint8_t* destination, const FrameDescription& description);
  // EOI at `position`, then the sizes and offsets of the last image's APP0 and APP1.
  virtual uint32_t WriteTrailer(uint8_t* position, uint8_t fieldIndex);

 private:
  uint8_t* fieldStart_ = nullptr;
  uint32_t headerLength_ = 0;
  uint32_t app1Offset_ = 0;
  uint32_t dqtOffset_ = 0;
  uint32_t sof0Offset_ = 0;
  uint32_t sosOffset_ = 0;
};

}  // namespace trvx
