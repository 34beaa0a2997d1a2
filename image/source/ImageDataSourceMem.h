#pragma once
// A data source that owns its bytes and two lists of child sources.

#include "image/source/ImageDataSourceBase.h"

#include <memory>
#include <vector>

namespace nox::image {

class ImageDataSourceMem : public ImageDataSourceBase {
 public:
  ImageDataSourceMem() = default;
  ImageDataSourceMem(const ImageDataSourceMem&) = delete;
  // Frees the secondary children, then the primary ones, then the bytes.
  ~ImageDataSourceMem() override;

  unsigned char* data() const override { return buffer_.get(); }
  int64_t primaryChildCount() const override { return static_cast<int64_t>(primaryChildren_.size()); }
  IImageDataSource* primaryChild(int index) const override { return childAt(primaryChildren_, index); }
  int64_t secondaryChildCount() const override { return static_cast<int64_t>(secondaryChildren_.size()); }
  IImageDataSource* secondaryChild(int index) const override { return childAt(secondaryChildren_, index); }

  // Clears the source (through clear()) and allocates formatImageSize(width, height, format)
  // zeroed bytes, which it owns; returns them. Returns null and changes nothing if width or
  // height is 0 or that size, taken as a signed 32-bit value, is below 1.
  virtual unsigned char* allocate(unsigned width, unsigned height, ImageFormat format);

  // Clears the source, then stores the three values with no bytes (dataSize 0).
  virtual void describe(unsigned width, unsigned height, ImageFormat format);

  // Zeroes every field, frees the bytes and empties both child lists.
  virtual void clear();

  // Stores the three values and replaces the bytes by formatImageSize(...) zeroed bytes,
  // which it returns. Checks nothing and keeps the child lists.
  unsigned char* reset(unsigned width, unsigned height, ImageFormat format);

  // Appends `child` (null allowed) and updates the child's stored hash, not this one's.
  void addPrimaryChild(std::shared_ptr<IImageDataSource> child);
  void addSecondaryChild(std::shared_ptr<IImageDataSource> child);

 private:
  using Children = std::vector<std::shared_ptr<IImageDataSource>>;

  static IImageDataSource* childAt(const Children& list, int index);
  static void append(Children& list, std::shared_ptr<IImageDataSource> child);
  void replaceBuffer(unsigned width, unsigned height, ImageFormat format, uint32_t size);

  std::unique_ptr<unsigned char[]> buffer_;
  Children primaryChildren_;
  Children secondaryChildren_;
};

// Base of sources whose bytes are made by a derived class; it adds nothing and cannot be
// made by itself.
class ImageDataSourceProcedural : public ImageDataSourceMem {
 public:
  ImageDataSourceProcedural() = default;
  ~ImageDataSourceProcedural() override = 0;
};

}  // namespace nox::image
