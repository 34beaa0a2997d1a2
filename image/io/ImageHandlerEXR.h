#pragma once
// OpenEXR files through the library's RGBA interface, always as 16-bit half-float RGBA:
// images of this handler are Image<PixelRGBA16F> with the word FormatRGBA16F. Reading runs
// over memory; writing goes to a named file or to a caller's buffer.

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

class ImageHandlerEXR final : public ImageHandlerImpl {
 public:
  using ImageHandlerImpl::ImageHandlerImpl;

  // True for "exr".
  static bool canLoadExtension(const std::string& extension);
  // True when the library opens the block as a complete RGBA file; any failure answers false.
  static bool canLoadMemory(const void* data, int32_t size);

  // The data window as an image with its rows reversed (the last file row becomes row 0).
  // Throws kCannotServe "File is not complete" for a truncated file, kInvalidSize for an
  // empty window or one above 2^28 pixels, and kCannotServe with the library's text for
  // anything the library refuses.
  std::shared_ptr<IImage> load() override;
  // Writes the rows as they stand (no reversal), PIZ-compressed. Throws kCannotServe for an
  // image other than FormatRGBA16F or with a pixel count other than width x height, and
  // kInputOutput with the library's text when writing fails.
  void save(const std::string& fileName, IImage* image) override;
  // As `save`, into `buffer`; `type` must be EXR (else kUnsupported, tested first). A buffer
  // too small throws kOutputTooSmall and keeps the bytes written so far.
  uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) override;
  // "nox_image EXR Loader".
  std::string loaderName() override;
};

}  // namespace nox::image::io
