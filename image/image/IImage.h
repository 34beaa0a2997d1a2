#pragma once
// The interface through which every decoded picture is used, held by std::shared_ptr.

#include "image/edit/Direction.h"
#include "image/edit/Rotation.h"
#include "image/image/ImageFormat.h"
#include "image/source/IDataSource.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace nox::image {

class IImage : public IDataSource {
 public:
  explicit IImage(uint32_t tag) : tag(tag) {}
  // Copies the stored hash, `tag` and the shared pointers of `children`.
  IImage(const IImage&) = default;
  ~IImage() override;

  uint32_t computeHash() const override = 0;

  // True if `other` has the same pixel type and its first pixels and children equal this
  // image's, as many as this image holds. Only images of equal size are meant to be compared.
  virtual bool equals(const IImage& other) const = 0;

  // The first pixel (mutable), good until the next edit. For DXT words the first 4x4 block.
  virtual void* data() = 0;

  // Elements of storage: pixels, or 4x4 blocks for the DXT words.
  virtual int64_t pixelCount() const = 0;

  virtual uint32_t width() const = 0;
  virtual uint32_t height() const = 0;
  virtual ImageFormat format() const = 0;

  // Geometry edits. Images of the three DXT words are left unchanged without a word; the
  // stored hash is not updated. Failures are those of the standard containers.
  virtual void resize(unsigned width, unsigned height) = 0;
  virtual void rotate(edit::Rotation rotation) = 0;
  virtual void flip(edit::Direction direction) = 0;
  virtual void transpose() = 0;

  // Free for the creator's use; every factory passes 0.
  uint32_t tag;
  // Empty in every image this library builds; kept, copied and compared for mip chains.
  std::vector<std::shared_ptr<IImage>> children;
};

}  // namespace nox::image
