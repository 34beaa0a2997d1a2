#include "image/source/ImageDataSourceImage.h"

namespace nox::image {

uint32_t ImageDataSourceImage::dataSize() const {
  return static_cast<uint32_t>(
      formatImageSize(static_cast<int>(image_->width()), static_cast<int>(image_->height()), image_->format()));
}

}  // namespace nox::image
