// Frames in layouts other than the codec's own (one image per frame, or two field
// images of any supported sampling, restart intervals, tables of their own), decoded
// whole into planes before anything is written: a frame that fails leaves the
// output bitmap as it was. With a helper thread the two fields are decoded side by
// side, and the conversion of either kind of frame is shared out.
#pragma once

#include <cstdint>

#include "decoder/baseline_headers.h"
#include "decoder/baseline_scan.h"
#include "format/mcu_workspace.h"
#include "format/bitmap_format.h"
#include "pixel/output_converter.h"

namespace trvx {

class BaselineFrames {
 public:
  // Reads the first image's headers, starting the frame's tables afresh; false when
  // they are not a walkable sequence of segments or describe the codec's own layout,
  // which its own reader then decodes.
  bool TakesFrame(const uint8_t* inputBits, const uint8_t* frameEnd, const BitmapHeader& outputFormat);

  // Gets the frame ready for the output converter: 0, or kIcmError with nothing
  // written when it cannot be decoded. Then the parts below, on one thread or two.
  int32_t Prepare(const uint8_t* inputBits, const uint8_t* frameEnd, const BitmapHeader& outputFormat);
  bool TwoFields() const { return fieldCount_ == 2; }
  // Entropy decoding and inverse DCT of field (or image) `index` into its planes.
  int32_t DecodeImage(int index, ReconstructKernel reconstruct);
  // Writes bands [firstBand, endBand) of image `index` (which is bands of fields too).
  int32_t ConvertImage(int index, uint32_t firstBand, uint32_t endBand, const OutputConverter& converter,
                       McuWorkspace& tile) const;
  uint32_t Bands() const { return images_[0].headers.height / 8; }
  // The description the converter is set up with: 4:2:2 MCUs of the frame's fields.
  const FrameDescription& TileDescription() const { return tileDescriptions_[0]; }

 private:
  struct Image {
    BaselineTables tables;
    BaselineImage headers;
    ImagePlanes planes;
    const uint8_t* coded = nullptr;
  };
  bool LocateSecondImage(const uint8_t* frameEnd);

  Image images_[2];
  uint8_t fieldCount_ = 0;
  FrameDescription tileDescriptions_[2];
  const uint8_t* frameEnd_ = nullptr;
};

}  // namespace trvx
