#pragma once
// A data source that answers from its own fields, all 0 at construction, has no bytes and
// no children, and hashes what it describes (not the bytes themselves).

#include "image/source/IImageDataSource.h"

namespace nox::image {

class ImageDataSourceBase : public IImageDataSource {
 public:
  ImageDataSourceBase() = default;

  // Combines, in this order, the hashes of width, height, auxExtent, tag, format, the data
  // address, dataSize and the two child counts, then the stored hash of each secondary child.
  // Every value is read through its virtual slot.
  uint32_t computeHash() const override;

  uint32_t width() const override { return width_; }
  uint32_t height() const override { return height_; }
  uint32_t auxExtent() const override { return auxExtent_; }
  ImageFormat format() const override { return format_; }
  uint32_t tag() const override { return tag_; }
  unsigned char* data() const override { return nullptr; }
  uint32_t dataSize() const override { return dataSize_; }
  int64_t primaryChildCount() const override { return 0; }
  IImageDataSource* primaryChild(int) const override { return nullptr; }
  int64_t secondaryChildCount() const override { return 0; }
  IImageDataSource* secondaryChild(int) const override { return nullptr; }

 protected:
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t auxExtent_ = 0;
  uint32_t dataSize_ = 0;
  ImageFormat format_ = 0;
  uint32_t tag_ = 0;
};

}  // namespace nox::image
