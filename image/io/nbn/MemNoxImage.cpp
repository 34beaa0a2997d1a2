#include "image/io/nbn/MemNoxImage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace nox::image::io {

CMemNoxImage::CMemNoxImage() = default;

CMemNoxImage::~CMemNoxImage() { free_owned_buffer(); }

void CMemNoxImage::free_owned_buffer() {
  if (!borrowed_) std::free(buffer_);
  buffer_ = nullptr;
  capacity_ = 0;
  borrowed_ = 1;
}

bool CMemNoxImage::open(const char*, bool) {
  if (size_ == 0 || !buffer_) return false;
  position_ = 0;
  sourceSize_ = size_;
  return true;
}

void CMemNoxImage::close() {}

int64_t CMemNoxImage::movable(int length) const {
  const int64_t left = int64_t(size_) - position_ - 1;
  return std::max<int64_t>(0, std::min<int64_t>(length, left));
}

int CMemNoxImage::write(const void* data, int length) {
  if (!buffer_) return -1;
  const int64_t count = movable(length);
  std::memcpy(buffer_ + position_, data, size_t(count));
  position_ += static_cast<int32_t>(count);
  highWater_ = std::max(highWater_, position_);
  return static_cast<int>(count);
}

int CMemNoxImage::read(void* data, int length) {
  if (!buffer_) return 0;
  const int64_t count = movable(length);
  std::memcpy(data, buffer_ + position_, size_t(count));
  position_ += static_cast<int32_t>(count);
  return static_cast<int>(count);
}

void CMemNoxImage::seek(int64_t offset) {
  position_ = static_cast<int32_t>(std::clamp<int64_t>(offset, 0, std::max<int64_t>(int64_t(size_) - 1, 0)));
}

void CMemNoxImage::seekEnd() { position_ = size_ ? static_cast<int32_t>(size_ - 1) : 0; }

bool CMemNoxImage::load_from_memory(const uint8_t* data, uint32_t size, bool keepLevels) {
  free_owned_buffer();
  // Only read while borrowed; the writer works on blocks of the object's own.
  buffer_ = const_cast<uint8_t*>(data);
  size_ = size;
  highWater_ = static_cast<int32_t>(size);
  return load(nullptr, keepLevels);
}

bool CMemNoxImage::save_to_memory(int packWord, unsigned flags) {
  // Sized for the pixels as they will be written: DXT and kNbnToRgba convert to four
  // channels first, and a block sized for fewer would cut the file short.
  const int packLow = packWord & 0xFF;
  const bool toRgba = packLow == kNbnDxt1 || packLow == kNbnDxt5 || (flags & kNbnToRgba);
  const int bpp = toRgba ? 4 : bytes_per_pixel();
  const int64_t wanted = nbnImageBytes(width(), height(), bpp, 1.5f) + kNbnFixedPartsMax;
  if (wanted < kNbnFixedPartsMax || wanted > UINT32_MAX) return false;
  const auto size = static_cast<uint32_t>(wanted);

  if (!(keepBuffer_ && !borrowed_ && buffer_ && size == capacity_)) {
    free_owned_buffer();
    buffer_ = static_cast<uint8_t*>(std::calloc(size, 1));
    if (!buffer_) return false;
    capacity_ = size;
  }
  borrowed_ = 0;
  size_ = size;
  highWater_ = 0;
  return save(nullptr, packWord, flags);
}

bool CMemNoxImage::release_memory() {
  if (!keepBuffer_) free_owned_buffer();
  size_ = 0;
  position_ = 0;
  return true;
}

}  // namespace nox::image::io
