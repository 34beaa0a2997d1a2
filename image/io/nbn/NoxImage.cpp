#include "image/io/nbn/NoxImage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "image/io/nbn/LzCodec.h"

namespace nox::image::io {

namespace {

constexpr double kDefaultBounds[4] = {-180.0, 180.0, -90.0, 90.0};

}  // namespace

CNoxImage::CNoxImage() : pixels_(nullptr), fd_(-1), scratch_(nullptr) {
  storageMode_ = 1;
  reset();
}

CNoxImage::~CNoxImage() { reset(); }

void CNoxImage::reset() {
  close();
  if (storageMode_ != 3) std::free(pixels_);
  std::free(scratch_);
  storageMode_ = 1;
  version_ = 0;
  subVersion_ = 0;
  blank_ = false;
  width_ = 0;
  height_ = 0;
  pictureFormat_ = 0;
  bytesPerPixel_ = 0;
  rowStride_ = 0;
  packWord_ = 0;
  payloadSize_ = 0;
  fullImageSize_ = 0;
  usedSize_ = 0;
  capacity_ = 0;
  pixels_ = nullptr;
  levelCount_ = 0;
  std::fill(std::begin(decodedSize_), std::end(decodedSize_), 0);
  std::fill(std::begin(storedSize_), std::end(storedSize_), 0u);
  std::fill(std::begin(levelPixels_), std::end(levelPixels_), nullptr);
  std::fill(std::begin(levelLimit_), std::end(levelLimit_), 0);
  levelLimit_[0] = -1;
  mipShift_ = 1;
  hasPalette_ = false;
  std::fill(std::begin(palette_), std::end(palette_), 0u);
  transparentIndex_ = -1;
  hasGeo_ = false;
  geoType_ = 0;
  std::copy(std::begin(kDefaultBounds), std::end(kDefaultBounds), geoBounds_);
  scratch_ = nullptr;
  scratchCapacity_ = 0;
}

bool CNoxImage::open(const char* fileName, bool forWrite) {
  close();
  if (!fileName) return false;
  fd_ = forWrite ? ::open(fileName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)
                 : ::open(fileName, O_RDONLY | O_CLOEXEC);
  struct stat st;
  sourceSize_ = !forWrite && fd_ >= 0 && ::fstat(fd_, &st) == 0 ? int64_t{st.st_size} : -1;
  return fd_ >= 0;
}

bool CNoxImage::source_can_hold(uint64_t storedBytes) const {
  if (width_ < 1 || height_ < 1) return true;  // the layout takes no buffer for these
  const int64_t pixels = int64_t{width_} * height_;
  if (pixels > maxPixels_) return false;
  if (sourceSize_ < 0) return true;
  const auto available = static_cast<uint64_t>(sourceSize_);
  if (storedBytes > available) return false;
  uint64_t plain = static_cast<uint64_t>(pixels) * static_cast<uint64_t>(std::max(bytesPerPixel_, 1));
  const int packLow = packWord_ & 0xFF;
  if (packLow == kNbnDxt1) plain /= 8;
  if (packLow == kNbnDxt5) plain /= 4;
  const uint64_t ratio = (packWord_ & 0xFF00) == kNbnLz ? kLzBestRatio : 1;
  return plain <= ratio * available;
}

void CNoxImage::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

int CNoxImage::write(const void* data, int length) {
  return static_cast<int>(::write(fd_, data, static_cast<size_t>(std::max(length, 0))));
}

int CNoxImage::read(void* data, int length) {
  return static_cast<int>(::read(fd_, data, static_cast<size_t>(std::max(length, 0))));
}

void CNoxImage::seek(int64_t offset) { ::lseek(fd_, static_cast<off_t>(offset), SEEK_SET); }

void CNoxImage::seekEnd() { ::lseek(fd_, 0, SEEK_END); }

bool CNoxImage::fail_and_close() {
  close();
  return false;
}

bool CNoxImage::layout() {
  if (storageMode_ != 1 && storageMode_ != 2) return true;
  const int64_t needed = nbnImageBytes(width_, height_, bytesPerPixel_, 1.5f);
  if (needed > capacity_) {
    std::free(pixels_);
    // Zeroed, so that bytes a short read leaves behind read as 0 and not as heap leftovers.
    pixels_ = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(needed), 1));
    capacity_ = pixels_ ? needed : 0;
  }
  if (pixels_) usedSize_ = std::max<int64_t>(needed, 0);

  // A product that wrapped negative names no pixels.
  int64_t size = std::max<int64_t>(nbnImageBytes(width_, height_, bytesPerPixel_), 0);
  if (storageMode_ == 1) {
    if ((packWord_ & 0xFF) == kNbnDxt1) size /= 8;
    if ((packWord_ & 0xFF) == kNbnDxt5) size /= 4;
  }
  decodedSize_[0] = size;
  levelPixels_[0] = pixels_;
  for (int i = 1; i < kNbnMaxLevels; ++i) {
    decodedSize_[i] = decodedSize_[i - 1] / 4;
    levelPixels_[i] = pixels_ ? levelPixels_[i - 1] + decodedSize_[i - 1] : nullptr;
  }
  return pixels_ != nullptr || needed <= 0;
}

int64_t CNoxImage::level_room(int level) const {
  if (storageMode_ == 3) return levelLimit_[level] >= 0 ? levelLimit_[level] : decodedSize_[level];
  if (!pixels_ || !levelPixels_[level]) return 0;
  return capacity_ - (levelPixels_[level] - pixels_);
}

bool CNoxImage::levels_fit_limits() const {
  if (storageMode_ != 3) return true;
  for (int i = 0; i <= levelCount_; ++i) {
    if (!levelPixels_[i]) return false;
    if (levelLimit_[i] >= 0 && levelLimit_[i] < decodedSize_[i]) return false;
  }
  return true;
}

bool CNoxImage::reserve_scratch(int64_t size) {
  const auto needed = std::max<int64_t>({1000, static_cast<int64_t>(size * 1.1),
                                         static_cast<int64_t>(lz_pack_bound(size_t(size)))});
  if (needed <= scratchCapacity_) return true;
  auto* grown = static_cast<uint8_t*>(std::realloc(scratch_, static_cast<size_t>(needed)));
  if (!grown) return false;
  scratch_ = grown;
  scratchCapacity_ = needed;
  return true;
}

int64_t CNoxImage::read_level_data(uint8_t* destination, uint32_t storedSize, int64_t room,
                                   int packHigh) {
  if (!destination || storedSize > INT_MAX) return 0;
  room = std::max<int64_t>(room, 0);
  if (packHigh == kNbnLz) {
    // No block the packer makes for a level that fits is longer; a longer one is damage,
    // refused before it costs memory.
    if (storedSize > lz_pack_bound(size_t(room)) || !reserve_scratch(storedSize)) return 0;
    const int got = std::max(read(scratch_, static_cast<int>(storedSize)), 0);
    // A source that comes up short (the memory variant stops one byte before its end) leaves
    // the rest of the block as zero, not as whatever the scratch held before.
    std::memset(scratch_ + got, 0, storedSize - static_cast<uint32_t>(got));
    return static_cast<int64_t>(lz_unpack(scratch_, storedSize, destination, size_t(room)));
  }
  if (storedSize > room) return 0;
  return std::max(read(destination, static_cast<int>(storedSize)), 0);
}

int64_t CNoxImage::write_level_data(const uint8_t* data, int64_t size, bool packed) {
  if (size <= 0 || size > INT_MAX) return 0;
  if (!packed) return write(data, static_cast<int>(size)) == size ? size : 0;
  if (!reserve_scratch(size)) return 0;
  LzWorkMemory work;
  const auto block = static_cast<int64_t>(lz_pack(data, scratch_, size_t(size), work));
  if (block == 0 || block > INT_MAX) return 0;
  return write(scratch_, static_cast<int>(block)) == block ? block : 0;
}

bool CNoxImage::set_format(int pictureFormat) {
  pictureFormat_ = pictureFormat;
  bytesPerPixel_ = nbnFormatBytes(pictureFormat);
  return layout();
}

bool CNoxImage::set_storage_mode(int storageMode) {
  // Crossing between the caller's buffer (mode 3) and the object's own: the pointer held
  // belongs to the side being left.
  if ((storageMode_ == 3) != (storageMode == 3)) {
    if (storageMode_ != 3) std::free(pixels_);
    pixels_ = nullptr;
    capacity_ = 0;
    usedSize_ = 0;
  }
  storageMode_ = storageMode;
  return layout();
}

bool CNoxImage::set_geometry(int width, int height, int pictureFormat) {
  width_ = width;
  height_ = height;
  return set_format(pictureFormat);
}

bool CNoxImage::set_external_buffer(uint8_t* pixels, int64_t limit) {
  if (limit >= 0 && limit < decodedSize_[0]) return false;
  set_storage_mode(3);
  pixels_ = pixels;
  levelPixels_[0] = pixels;
  levelLimit_[0] = limit;
  return true;
}

void CNoxImage::set_palette(const uint32_t colours[kNbnPaletteEntries]) {
  std::copy(colours, colours + kNbnPaletteEntries, palette_);
  hasPalette_ = true;
}

void CNoxImage::set_geo_block(int type, double minX, double maxX, double minY, double maxY) {
  hasGeo_ = true;
  geoType_ = type;
  geoBounds_[0] = minX;
  geoBounds_[1] = maxX;
  geoBounds_[2] = minY;
  geoBounds_[3] = maxY;
}

}  // namespace nox::image::io
