// Writing an NBN file: the optional mip chain, the level encodings and the header.

#include <squish.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "image/io/nbn/FastDxt.h"
#include "image/io/nbn/LittleEndian.h"
#include "image/io/nbn/NoxImage.h"

namespace nox::image::io {

namespace {

struct Level {
  uint8_t* pixels;
  int width;
  int height;
  int64_t size;
};

using Encoder = size_t (*)(const uint8_t*, uint8_t*, int, int);

Encoder fastEncoder(int packLow, bool flipped) {
  if (packLow == kNbnDxt1) return flipped ? encode_dxt1_flipped : encode_dxt1;
  return flipped ? encode_dxt5_flipped : encode_dxt5;
}

}  // namespace

int CNoxImage::save_divisor(int packWord, unsigned flags) const {
  if ((flags & kNbnMipChain) && (mipShift_ < 0 || mipShift_ > 28)) return 0;
  const int packLow = packWord & 0xFF;
  const int chain = (flags & kNbnMipChain) ? 1 << mipShift_ : 1;
  return chain * (packLow == kNbnDxt1 || packLow == kNbnDxt5 ? 4 : 1);
}

bool CNoxImage::save(const char* fileName, int packWord, unsigned flags) {
  int packLow = packWord & 0xFF;
  const bool dxt = packLow == kNbnDxt1 || packLow == kNbnDxt5;
  const int divisor = save_divisor(packWord, flags);
  if (divisor == 0 || width_ < 1 || height_ < 1 || width_ % divisor || height_ % divisor)
    return false;
  if ((dxt || (flags & kNbnToRgba)) && pictureFormat_ != kNbnRgba && !convert_to_rgba(flags))
    return false;
  if (packLow == 1) {
    packWord = kNbnLz;
    packLow = kNbnRaw;
  }
  // Checked before the old file goes: with no pixels there is nothing to write.
  const int64_t plainSize = nbnImageBytes(width_, height_, bytesPerPixel_);
  if (storageMode_ == 0 || !pixels_ || plainSize < 1) return false;

  if (fileName) {
    struct stat st;
    if (::stat(fileName, &st) == 0) std::remove(fileName);
  }
  if (!open(fileName, true)) return false;

  const uint8_t zeros[kNbnLeadSize] = {};
  bool ok = write(zeros, kNbnLeadSize) == kNbnLeadSize;
  const bool withPalette = (flags & kNbnWritePalette) && hasPalette_;
  if (withPalette) {
    uint8_t bytes[kNbnPaletteSize];
    for (int i = 0; i < kNbnPaletteEntries; ++i) storeLE(bytes + 4 * i, palette_[i], 4);
    ok = ok && write(bytes, kNbnPaletteSize) == kNbnPaletteSize;
  }
  const bool withGeo = (flags & kNbnWriteGeoBlock) && hasGeo_;
  if (withGeo) {
    NbnGeoBlock geo;
    geo.type = static_cast<uint32_t>(geoType_);
    std::copy(geoBounds_, geoBounds_ + 4, geo.bounds);
    uint8_t bytes[kNbnGeoBlockSize];
    encodeNbnGeoBlock(geo, bytes);
    ok = ok && write(bytes, kNbnGeoBlockSize) == kNbnGeoBlockSize;
  }

  // The chain is built behind level 0; the caller's buffer is not ours to write past the
  // picture, so storage mode 3 works on a private copy.
  const auto roomForChain = static_cast<size_t>(nbnImageBytes(width_, height_, bytesPerPixel_, 1.5f));
  std::vector<uint8_t> privateCopy;
  uint8_t* source = pixels_;
  if (storageMode_ == 3) {
    privateCopy.assign(roomForChain, 0);
    std::memcpy(privateCopy.data(), pixels_, static_cast<size_t>(plainSize));
    source = privateCopy.data();
  }

  Level levels[kNbnMaxLevels];
  levels[0] = {source, width_, height_, plainSize};
  int count = 0;
  if (flags & kNbnMipChain) {
    while (count + 1 < kNbnMaxLevels) {
      const Level& from = levels[count];
      Level next{from.pixels + from.size, std::max(from.width / 2, 1), std::max(from.height / 2, 1),
                 0};
      next.size = nbnImageBytes(next.width, next.height, bytesPerPixel_);
      if (!scale_by_half(from.width, from.height, from.pixels, next.pixels)) break;
      levels[++count] = next;
      const bool last = dxt ? next.width % 8 != 0 || next.height % 8 != 0
                            : next.width % 2 != 0 || next.height % 2 != 0;
      if (last) break;
    }
  }
  levelCount_ = count;

  const bool packLevels = packWord & kNbnLz;
  std::fill(std::begin(storedSize_), std::end(storedSize_), 0u);
  fullImageSize_ = 0;
  if (packLow == kNbnRaw) {
    for (int i = 0; i <= count; ++i)
      storedSize_[i] = uint32_t(write_level_data(levels[i].pixels, levels[i].size, packLevels));
  } else if (dxt) {
    std::vector<uint8_t> encoded(roomForChain / 4);
    const Encoder encoder = fastEncoder(packLow, flags & kNbnFlip);
    for (int i = 0; i <= count; ++i) {
      const Level& level = levels[i];
      int64_t length;
      if (flags & kNbnSquish) {
        squish::CompressImage(level.pixels, level.width, level.height, encoded.data(),
                              packLow == kNbnDxt1 ? squish::kDxt1 : squish::kDxt5);
        length = level.size / (packLow == kNbnDxt1 ? 8 : 4);
      } else {
        length = int64_t(encoder(level.pixels, encoded.data(), level.width, level.height));
      }
      storedSize_[i] = uint32_t(write_level_data(encoded.data(), length, packLevels));
    }
    if (flags & kNbnFullCopy) {
      fullImageSize_ = int(write_level_data(levels[0].pixels, plainSize, true));
      ok = ok && fullImageSize_ != 0;
    }
  }
  int64_t payload = 0;
  for (int i = 0; i <= count && (packLow == kNbnRaw || dxt); ++i) {
    ok = ok && storedSize_[i] != 0;
    payload += storedSize_[i];
  }
  payloadSize_ = static_cast<int>(payload);

  NbnHeader head;
  head.magic = kNbnMagic;
  head.version = kNbnVersion;
  head.subVersion = kNbnSubVersion;
  head.width = width_;
  head.height = height_;
  head.bytesPerPixel = bytesPerPixel_;
  head.packWord = packWord;
  head.pictureFormat = pictureFormat_;
  head.levelCount = levelCount_;
  head.payloadSize = payloadSize_;
  head.fullImageSize = fullImageSize_;
  head.hasPalette = withPalette ? 1 : 0;
  head.transparentIndex = static_cast<int16_t>(transparentIndex_);
  head.hasGeoBlock = withGeo ? 1 : 0;
  head.blankFlag = (flags & kNbnBlank) ? 1 : 0;
  uint8_t lead[kNbnLeadSize] = {};
  encodeNbnHeader(head, lead);
  for (int i = 0; i <= levelCount_; ++i) storeLE(lead + kNbnHeaderSize + 4 * i, storedSize_[i], 4);
  seek(0);
  ok = ok && write(lead, kNbnLeadSize) == kNbnLeadSize;
  close();
  return ok;
}

}  // namespace nox::image::io
