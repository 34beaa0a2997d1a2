#include "image/source/ImageDataSourceView.h"

namespace nox::image {

unsigned char* ImageDataSourceView::data() const {
  const std::shared_ptr<IImageDataSource> parent = parent_.lock();
  if (!parent) return nullptr;
  unsigned char* bytes = parent->data();
  return bytes != nullptr ? bytes + byteOffset_ : nullptr;
}

}  // namespace nox::image
