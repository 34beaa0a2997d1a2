#pragma once
// A window on another source's bytes. It holds its parent weakly: it neither keeps the parent
// alive nor takes size or format from it (its own fields stay 0).

#include "image/source/ImageDataSourceBase.h"

#include <memory>

namespace nox::image {

class ImageDataSourceView : public ImageDataSourceBase {
 public:
  // Keeps only a weak reference to `parent`.
  explicit ImageDataSourceView(std::shared_ptr<IImageDataSource> parent) : parent_(parent) {}

  // The parent's bytes plus the view's offset, or null once the parent is gone (or has no
  // bytes). The address is good only while the parent lives.
  unsigned char* data() const override;

 protected:
  uint32_t byteOffset_ = 0;

 private:
  std::weak_ptr<IImageDataSource> parent_;
};

}  // namespace nox::image
