#include "driver/codec_instance.h"
#include "driver/icm_results.h"

namespace trvx {

int32_t CodecInstance::CompressBegin(const FormatPolicy& policy, const BitmapHeader* input,
                                     const BitmapHeader* output) {
  CompressEnd();
  if (output == nullptr) return kIcmError;
  if (CheckCompressionInput(policy, input, output) != kIcmOk) return kIcmBadFormat;
  compressScratch_.Allocate(input->sizeImage);
  return encoder_.Begin();
}

int32_t CodecInstance::Compress(uint32_t recordSize) {
  if (recordSize != kIcCompressRecordSize) return kIcmError;
  return encoder_.Compress();
}

int32_t CodecInstance::CompressEnd() {
  compressScratch_.Release();
  return encoder_.End();
}

int32_t CodecInstance::DecompressBegin(const FormatPolicy& policy, const BitmapHeader* input,
                                       const BitmapHeader* output) {
  DecompressEnd();
  if (output == nullptr) return kIcmError;
  // A refused format is an error here, not the query's "bad format".
  if (CheckDecompression(policy, input, output) != kIcmOk) return kIcmError;
  const int32_t result = decoder_.Begin();
  decompressScratch_.Allocate(output->sizeImage);
  return result;
}

int32_t CodecInstance::Decompress(uint32_t recordSize) {
  if (recordSize != kIcDecompressRecordSize) return kIcmBadParam;
  return decoder_.Decompress();
}

int32_t CodecInstance::DecompressEnd() {
  decompressScratch_.Release();
  return decoder_.End();
}

}  // namespace trvx
