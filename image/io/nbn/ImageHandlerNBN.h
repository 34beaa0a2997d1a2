#pragma once
// NBN files held in memory, read through CMemNoxImage. Only level 0 of three- and
// four-channel raw pictures and of DXT1/DXT5 pictures becomes an image; every other NBN
// layout reads without error in the container and is refused here.

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

class ImageHandlerNBN final : public ImageHandlerImpl {
 public:
  using ImageHandlerImpl::ImageHandlerImpl;

  // True for "nbn".
  static bool canLoadExtension(const std::string& extension);
  // Always false: an NBN file is known by its extension only.
  static bool canLoadMemory(const void* data, int32_t size);

  // Level 0 as FormatRGB8, FormatRGBA8, FormatDXT1 or FormatDXT5. Throws kInputOutput "File
  // could not be read" when the container refuses the bytes, kUnsupported "Unsupported
  // format: N" for a `pictureFormat` N without a word and "Unsupported format" for any other
  // layout (LZ packing among them), kInvalidSize above 2^28 pixels.
  std::shared_ptr<IImage> load() override;
  // Both throw kCannotServe "Unimplemented".
  void save(const std::string& fileName, IImage* image) override;
  uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) override;
  // "nox_image NBN Loader".
  std::string loaderName() override;
};

}  // namespace nox::image::io
