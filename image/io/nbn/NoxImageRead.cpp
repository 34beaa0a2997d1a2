// Reading an NBN file: header, levels, single levels and the decoded full-size picture.

#include <squish.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "image/io/nbn/LittleEndian.h"
#include "image/io/nbn/NoxImage.h"

namespace nox::image::io {

namespace {

// Geo block types that files carry; 0 is read as 1.
bool acceptedGeoType(uint32_t type) { return type == 1 || type == 12; }

}  // namespace

bool CNoxImage::read_header(const char* fileName) {
  if (fileName && std::strlen(fileName) < 5) return false;
  if (!open(fileName, false)) return false;

  // A short read leaves zeros here, which the final checks refuse.
  uint8_t headBytes[kNbnHeaderSize] = {};
  uint8_t tableBytes[kNbnTableSize] = {};
  read(headBytes, kNbnHeaderSize);
  const NbnHeader head = decodeNbnHeader(headBytes);
  if (head.magic == kNbnMagic && head.version >= 3) read(tableBytes, kNbnTableSize);
  if (head.magic != kNbnMagic) return fail_and_close();
  subVersion_ = head.subVersion;
  version_ = head.version;
  if (version_ < 2) return fail_and_close();

  bytesPerPixel_ = head.bytesPerPixel;
  const bool oldLayout = version_ == 2 && subVersion_ == 0;
  if (oldLayout)
    pictureFormat_ = bytesPerPixel_ >= 1 && bytesPerPixel_ <= 3 ? bytesPerPixel_ : kNbnRgba;
  else
    pictureFormat_ = head.pictureFormat;
  width_ = head.width;
  height_ = head.height;
  packWord_ = (head.packWord & 0xFF) == 1 ? kNbnLz : head.packWord;
  levelCount_ = head.levelCount;
  // The object holds 20 levels; a count beyond them can only come from a damaged file.
  if (levelCount_ >= kNbnMaxLevels) return fail_and_close();

  int32_t payloadSize = head.payloadSize;
  if (version_ >= 3) {
    for (int i = 0; i <= levelCount_; ++i) storedSize_[i] = loadLE32(tableBytes + 4 * i);
  } else {
    // Old files do not record their payload; it is all that follows the header.
    struct stat st;
    if (oldLayout && fileName && ::stat(fileName, &st) == 0)
      payloadSize = static_cast<int32_t>(st.st_size - kNbnHeaderSize);
    storedSize_[0] = static_cast<uint32_t>(payloadSize);
  }

  decodedSize_[0] = nbnImageBytes(width_, height_, nbnFormatBytes(pictureFormat_));
  for (int i = 1; i <= levelCount_; ++i) decodedSize_[i] = decodedSize_[i - 1] / 4;
  const int packLow = packWord_ & 0xFF;
  for (int i = 0; i <= levelCount_; ++i) {
    if (packLow == kNbnDxt1) decodedSize_[i] /= 8;
    if (packLow == kNbnDxt5) decodedSize_[i] /= 4;
  }
  payloadSize_ = payloadSize;
  fullImageSize_ = head.fullImageSize;

  if (head.hasPalette) {
    uint8_t paletteBytes[kNbnPaletteSize] = {};
    read(paletteBytes, kNbnPaletteSize);
    for (int i = 0; i < kNbnPaletteEntries; ++i) palette_[i] = loadLE32(paletteBytes + 4 * i);
    transparentIndex_ = head.transparentIndex;
    hasPalette_ = true;
  }
  if (head.hasGeoBlock) {
    uint8_t geoBytes[kNbnGeoBlockSize] = {};
    read(geoBytes, kNbnGeoBlockSize);
    const NbnGeoBlock geo = decodeNbnGeoBlock(geoBytes);
    const uint32_t type = geo.type == 0 ? 1 : geo.type;
    if (acceptedGeoType(type)) {
      set_geo_block(static_cast<int>(type), geo.bounds[0], geo.bounds[1], geo.bounds[2],
                    geo.bounds[3]);
    } else {
      hasGeo_ = false;
      geoType_ = -1;
    }
  }
  if (head.blankFlag) blank_ = true;

  if (width_ < 1 || height_ < 1 || payloadSize_ < 1 || decodedSize_[0] < 1 || levelCount_ < 0)
    return fail_and_close();
  return true;
}

bool CNoxImage::read_levels(bool keepLevels) {
  if (storageMode_ == 0) storageMode_ = 1;
  if (!keepLevels) levelCount_ = 0;
  uint64_t stored = 0;
  for (int i = 0; i <= levelCount_ && i < kNbnMaxLevels; ++i) stored += storedSize_[i];
  if (!source_can_hold(stored)) return fail_and_close();
  set_format(pictureFormat_);
  if (!levelPixels_[0]) return fail_and_close();
  if (version_ < 3 && levelCount_ > 0) return fail_and_close();
  if (!levels_fit_limits()) return fail_and_close();

  if ((packWord_ & 0xFF) == 1) packWord_ = kNbnLz;
  const int packLow = packWord_ & 0xFF;
  bool complete = true;
  if (packLow == kNbnRaw || packLow == kNbnDxt1 || packLow == kNbnDxt5) {
    for (int i = 0; i <= levelCount_; ++i) {
      if (read_level_data(levelPixels_[i], storedSize_[i], level_room(i), packWord_ & 0xFF00) == 0)
        complete = false;
    }
  }
  close();
  return complete;
}

bool CNoxImage::load_header(const char* fileName) {
  const bool ok = read_header(fileName);
  close();
  storageMode_ = 0;
  return ok;
}

bool CNoxImage::load_header_open(const char* fileName) {
  const bool ok = read_header(fileName);
  storageMode_ = 0;
  return ok;
}

bool CNoxImage::load(const char* fileName, bool keepLevels) {
  if (!read_header(fileName)) return false;
  const bool ok = read_levels(keepLevels);
  // A picture refused before its buffer was laid out is not filled either.
  if (blank_ && source_can_hold(0)) fill_blank();
  return ok;
}

bool CNoxImage::load_without_blank(const char* fileName, bool keepLevels) {
  return read_header(fileName) && read_levels(keepLevels);
}

bool CNoxImage::load_geo_only(const char* fileName) {
  if (!read_header(fileName)) return false;
  if (blank_ && source_can_hold(0)) fill_blank();
  return hasGeo_;
}

bool CNoxImage::load_level(const char* fileName, int level) {
  if (!read_header(fileName)) return false;
  if (version_ < 3 || level < 0 || level > levelCount_) return fail_and_close();
  if (storageMode_ == 0) storageMode_ = 1;

  int64_t offset = hasPalette_ ? kNbnLeadSize + kNbnPaletteSize : kNbnLeadSize;
  for (int i = 0; i < level; ++i) {
    width_ /= 2;
    height_ /= 2;
    offset += storedSize_[i];
  }
  const uint32_t storedSize = storedSize_[level];
  const int64_t decodedSize = decodedSize_[level];
  if (!source_can_hold(uint64_t{storedSize} + static_cast<uint64_t>(offset))) return fail_and_close();
  set_format(pictureFormat_);
  if (!levelPixels_[0]) return fail_and_close();
  levelCount_ = 0;
  storedSize_[0] = storedSize;
  decodedSize_[0] = decodedSize;
  if (!levels_fit_limits()) return fail_and_close();

  seek(offset);
  const int packLow = packWord_ & 0xFF;
  bool ok = true;
  if (packLow == kNbnRaw || packLow == kNbnDxt1 || packLow == kNbnDxt5)
    ok = read_level_data(levelPixels_[0], storedSize, level_room(0), packWord_ & 0xFF00) != 0;
  close();
  return ok;
}

bool CNoxImage::decode_level0_dxt(int packLow) {
  const int64_t plain = nbnImageBytes(width_, height_, 4);
  const int64_t blocks = int64_t((width_ + 3) / 4) * ((height_ + 3) / 4);
  // Blocks that would reach past the buffer come from a file whose format does not fit its
  // packing.
  if (plain < 1 || !pixels_ || blocks * (packLow == kNbnDxt1 ? 8 : 16) > capacity_) return false;
  std::vector<uint8_t> rgba(static_cast<size_t>(plain));
  squish::DecompressImage(rgba.data(), width_, height_, levelPixels_[0],
                          packLow == kNbnDxt1 ? squish::kDxt1 : squish::kDxt5);
  std::memcpy(levelPixels_[0], rgba.data(), static_cast<size_t>(std::min(plain, capacity_)));
  return true;
}

bool CNoxImage::load_decoded(const char* fileName) {
  if (!read_header(fileName)) return false;
  storageMode_ = 2;
  const bool fullCopy = ((packWord_ & 0xFF) == kNbnDxt1 || (packWord_ & 0xFF) == kNbnDxt5) && fullImageSize_ >= 1;
  // The full-size copy is plain pixels, LZ-packed.
  const int packed = packWord_;
  if (fullCopy) packWord_ = kNbnLz;
  const bool holds = source_can_hold(fullCopy ? static_cast<uint64_t>(fullImageSize_) : storedSize_[0]);
  packWord_ = packed;
  if (!holds) return fail_and_close();
  set_format(pictureFormat_);
  if (!pixels_) return fail_and_close();

  if ((packWord_ & 0xFF) == 1) packWord_ = kNbnLz;
  const int packLow = packWord_ & 0xFF;
  const int packHigh = packWord_ & 0xFF00;
  bool ok = true;
  if (packLow == kNbnRaw) {
    ok = read_level_data(levelPixels_[0], storedSize_[0], level_room(0), packHigh) != 0;
  } else if (packLow == kNbnDxt1 || packLow == kNbnDxt5) {
    if (fullImageSize_ >= 1) {
      // The copy lies behind the levels; palette and bounds block are left out of the
      // offset, by design.
      seek(int64_t(payloadSize_) + kNbnLeadSize);
      ok = read_level_data(levelPixels_[0], static_cast<uint32_t>(fullImageSize_), level_room(0),
                           kNbnLz) != 0;
      levelCount_ = 0;
    } else {
      ok = read_level_data(levelPixels_[0], storedSize_[0], level_room(0), packHigh) != 0 &&
           decode_level0_dxt(packLow);
    }
  }
  close();
  return ok;
}

}  // namespace nox::image::io
