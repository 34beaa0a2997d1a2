#pragma once
// Image-shaped data sources: describe a picture (size, format, bytes, child sources)
// without being an Image<P>.

#include "image/image/ImageFormat.h"
#include "image/source/IDataSource.h"

#include <cstdint>

namespace nox::image {

class IImageDataSource : public IDataSource {
 public:
  virtual uint32_t width() const = 0;
  virtual uint32_t height() const = 0;
  // A further size word; no writer of it exists, so it is 0 in every class here.
  virtual uint32_t auxExtent() const = 0;
  virtual ImageFormat format() const = 0;
  // The same word as IImage::tag.
  virtual uint32_t tag() const = 0;
  // The bytes, or null; owned by the source (or by the object it refers to).
  virtual unsigned char* data() const = 0;
  virtual uint32_t dataSize() const = 0;
  // Child sources, read as mip levels (primary) or kept for the hash (secondary). The
  // pointers are owned by the source; null for an index out of range.
  virtual int64_t primaryChildCount() const = 0;
  virtual IImageDataSource* primaryChild(int index) const = 0;
  virtual int64_t secondaryChildCount() const = 0;
  virtual IImageDataSource* secondaryChild(int index) const = 0;
};

}  // namespace nox::image
