#include "image/source/ImageDataSourceMem.h"

#include <utility>

namespace nox::image {

ImageDataSourceMem::~ImageDataSourceMem() {
  secondaryChildren_.clear();
  primaryChildren_.clear();
  buffer_.reset();
}

// The list itself keeps no bounds; an index outside it gives null rather than a read beyond.
IImageDataSource* ImageDataSourceMem::childAt(const Children& list, int index) {
  if (index < 0 || static_cast<size_t>(index) >= list.size()) return nullptr;
  return list[static_cast<size_t>(index)].get();
}

void ImageDataSourceMem::append(Children& list, std::shared_ptr<IImageDataSource> child) {
  list.push_back(child);
  if (child) child->updateHash();
}

void ImageDataSourceMem::addPrimaryChild(std::shared_ptr<IImageDataSource> child) {
  append(primaryChildren_, std::move(child));
}

void ImageDataSourceMem::addSecondaryChild(std::shared_ptr<IImageDataSource> child) {
  append(secondaryChildren_, std::move(child));
}

void ImageDataSourceMem::replaceBuffer(unsigned width, unsigned height, ImageFormat format, uint32_t size) {
  width_ = width;
  height_ = height;
  format_ = format;
  buffer_.reset(new unsigned char[size]());
  dataSize_ = size;
}

unsigned char* ImageDataSourceMem::allocate(unsigned width, unsigned height, ImageFormat format) {
  if (width == 0 || height == 0) return nullptr;
  const auto size =
      static_cast<int32_t>(formatImageSize(static_cast<int>(width), static_cast<int>(height), format));
  if (size < 1) return nullptr;
  clear();
  replaceBuffer(width, height, format, static_cast<uint32_t>(size));
  return buffer_.get();
}

void ImageDataSourceMem::describe(unsigned width, unsigned height, ImageFormat format) {
  clear();
  width_ = width;
  height_ = height;
  format_ = format;
}

void ImageDataSourceMem::clear() {
  width_ = height_ = auxExtent_ = dataSize_ = format_ = tag_ = 0;
  buffer_.reset();
  primaryChildren_.clear();
  secondaryChildren_.clear();
}

unsigned char* ImageDataSourceMem::reset(unsigned width, unsigned height, ImageFormat format) {
  replaceBuffer(width, height, format,
                static_cast<uint32_t>(formatImageSize(static_cast<int>(width), static_cast<int>(height), format)));
  return buffer_.get();
}

ImageDataSourceProcedural::~ImageDataSourceProcedural() = default;

}  // namespace nox::image
