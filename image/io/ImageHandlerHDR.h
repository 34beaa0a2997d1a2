#pragma once
// Radiance HDR files through the project's RGBE reader and writer, which work on stdio
// streams: the input passes through a temporary file (nox_fmemopen). Images of this handler
// are Image<PixelRGB32F> with the word FormatRGB32F; the writer also takes RGBE quadruples
// that are already encoded, as an Image<PixelRGBA8> with the word FormatRGBA8.

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

class ImageHandlerHDR final : public ImageHandlerImpl {
 public:
  using ImageHandlerImpl::ImageHandlerImpl;

  // True for "hdr".
  static bool canLoadExtension(const std::string& extension);
  // True when an RGBE header reads from the block.
  static bool canLoadMemory(const void* data, int32_t size);

  // The picture with its rows reversed (the file's last row becomes row 0). Throws
  // kInputOutput "Could not open file for writing" when the temporary file cannot be made,
  // "Failed to read header" or "Failed to read pixel data"; kInvalidSize for a size below 1
  // or above 2^28 pixels.
  std::shared_ptr<IImage> load() override;
  // Writes the header and flat pixels (behind the line "FORMAT=32-bit_rle_rgbe"), the rows
  // turned back to file order. FormatRGBA8 images are written byte for byte as RGBE. Throws
  // kUnsupported for other words, kInputOutput when the file cannot be opened or written, and
  // kCannotServe "Unexpected data size" for float pixels fewer than width x height. An image
  // with one of the two words but of another class writes nothing.
  void save(const std::string& fileName, IImage* image) override;
  // Encodes as `save` does into a temporary file that starts as a copy of `buffer` and
  // returns the number of bytes encoded. The buffer gets nothing back: the encoded file goes
  // away with the temporary file. `type` must be HDR (else kUnsupported).
  uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) override;
  // "nox_image HDR Loader".
  std::string loaderName() override;
};

}  // namespace nox::image::io
