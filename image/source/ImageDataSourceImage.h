#pragma once
// A data source over a shared IImage: size, format, tag and bytes are the image's; it has no
// children of its own, whatever the image's `children` hold.

#include "image/image/IImage.h"
#include "image/source/IImageDataSource.h"

#include <memory>
#include <utility>

namespace nox::image {

class ImageDataSourceImage : public IImageDataSource {
 public:
  // Shares `image`, which must not be null.
  explicit ImageDataSourceImage(std::shared_ptr<IImage> image) : image_(std::move(image)) {}

  // The image's own hash, which is 0.
  uint32_t computeHash() const override { return image_->computeHash(); }

  uint32_t width() const override { return image_->width(); }
  uint32_t height() const override { return image_->height(); }
  uint32_t auxExtent() const override { return 0; }
  ImageFormat format() const override { return image_->format(); }
  uint32_t tag() const override { return image_->tag; }
  unsigned char* data() const override { return static_cast<unsigned char*>(image_->data()); }
  // formatImageSize of the image's width, height and format.
  uint32_t dataSize() const override;
  int64_t primaryChildCount() const override { return 0; }
  IImageDataSource* primaryChild(int) const override { return nullptr; }
  int64_t secondaryChildCount() const override { return 0; }
  IImageDataSource* secondaryChild(int) const override { return nullptr; }

 private:
  std::shared_ptr<IImage> image_;
};

}  // namespace nox::image
