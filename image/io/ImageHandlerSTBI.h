#pragma once
// BMP, JPEG, PNG, PSD and TGA through stb_image, and BMP, PNG and TGA through stb_image_write.
// PNG and PSD keep their native 8 or 16 bits, a JPEG is turned by its EXIF orientation, and
// every image goes into the model with its rows reversed (bottom row first).

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

class ImageHandlerSTBI final : public ImageHandlerImpl {
 public:
  using ImageHandlerImpl::ImageHandlerImpl;

  // True for "png", "jpg", "jpeg", "bmp", "psd" and "tga".
  static bool canLoadExtension(const std::string& extension);
  // True when a type test accepts, in the order PNG, JPEG, BMP, PSD, TGA.
  static bool canLoadMemory(const void* data, int32_t size);

  // Decodes with four channels when `forceRgba` is set, else with the file's own. Throws
  // kUnsupported for an unknown type or a channel layout the type does not allow (a grey
  // JPEG, say), kCannotServe with stb_image's failure reason when decoding fails, and
  // kInputOutput "Failed to read EXIF information" for a JPEG with a damaged EXIF block when
  // `applyExifOrientation` is set.
  std::shared_ptr<IImage> load() override;
  // Writes PNG, BMP or TGA by the extension of `fileName`, the rows turned back to file order
  // (stb_image_write's process-wide flip setting is set and left on). Throws kUnsupported for
  // another extension or an image that is not 1 to 4 channels of plain pixels, kCannotServe
  // "Unexpected data size" for fewer pixels than width x height, and kInputOutput "Failed to
  // export PNG" when the writer fails, whatever the type.
  void save(const std::string& fileName, IImage* image) override;
  // Writes a PNG (`type` must be PNG, else kUnsupported) into `buffer` and returns its length.
  // Throws kOutputTooSmall "Failed to write to memory" when the encoder fails and
  // "Insuffient memory allocated to write to memory" when `size` is below the length.
  uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) override;
  // "nox_image STBI Loader".
  std::string loaderName() override;
};

}  // namespace nox::image::io
