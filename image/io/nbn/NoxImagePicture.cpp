// Picture operations of CNoxImage: halving, box-filter scaling, cropping, format conversions
// and the small setters that change what the pixel buffer holds.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "image/io/nbn/NoxImage.h"

namespace nox::image::io {

namespace {

// Walks the source cells under one output pixel of `scale_to`: the fixed-point (8.8) span
// x0..x1, y0..y1, calling visit(row, column, weight). A partial first or last row or column
// weighs its covered fraction.
template <typename Visit>
void forEachCell(int64_t x0, int64_t x1, int64_t y0, int64_t y1, Visit&& visit) {
  const int64_t firstRow = y0 >> 8;
  const int64_t lastRow = y1 >> 8;
  const int64_t firstCol = x0 >> 8;
  const int64_t lastCol = x1 >> 8;
  for (int64_t row = firstRow; row <= lastRow; ++row) {
    if (row == lastRow && (y1 & 255) == 0) break;
    int64_t rowWeight = 256;
    if (row == firstRow && (y0 & 255)) rowWeight = 256 - (y0 & 255);
    else if (row == lastRow && (y1 & 255)) rowWeight = y1 & 255;
    for (int64_t col = firstCol; col <= lastCol; ++col) {
      if (col == lastCol && (x1 & 255) == 0) break;
      int64_t weight = rowWeight;
      if (col == firstCol && (x0 & 255)) weight = (rowWeight * (256 - (x0 & 255))) >> 8;
      else if (col == lastCol && (x1 & 255)) weight = (rowWeight * (x1 & 255)) >> 8;
      visit(row, col, weight);
    }
  }
}

}  // namespace

int64_t CNoxImage::picture_room() const {
  if (storageMode_ == 3)
    return levelLimit_[0] >= 0 ? levelLimit_[0] : std::numeric_limits<int64_t>::max();
  return pixels_ ? capacity_ : 0;
}

bool CNoxImage::scale_by_half(int width, int height, const uint8_t* source, uint8_t* destination) {
  const int outWidth = std::max(width / 2, 1);
  const int outHeight = std::max(height / 2, 1);
  const int bpp = pictureFormat_ == kNbnIndexed ? 1 : bytesPerPixel_;
  if (bpp < 1 || bpp > 4) {
    std::printf("PICTURE::scale_by_half: Illegal number of components: %d\n", bytesPerPixel_);
    return false;
  }
  const size_t rowBytes = size_t(width) * bpp;
  for (int y = 0; y < outHeight; ++y) {
    const uint8_t* top = source + size_t(2 * y) * rowBytes;
    const uint8_t* bottom = height == 1 ? top : top + rowBytes;
    uint8_t* out = destination + size_t(y) * outWidth * bpp;
    for (int x = 0; x < outWidth; ++x) {
      // A source of width 1 has no second column; its one pixel stands in for it.
      const size_t left = size_t(2 * x) * bpp;
      const size_t right = size_t(std::min(2 * x + 1, width - 1)) * bpp;
      if (pictureFormat_ == kNbnIndexed) {
        const uint8_t index[4] = {top[left], top[right], bottom[left], bottom[right]};
        int weight[4];
        for (int k = 0; k < 4; ++k) weight[k] = hasPalette_ && palette_[index[k]] == 0 ? 1 : 4;
        int sum[4] = {};
        for (int k = 0; k < 4; ++k)
          for (int m = 0; m < 4; ++m)
            if (index[m] == index[k]) sum[k] += weight[m];
        int choice = 0;
        for (int k = 1; k < 4; ++k)
          if (sum[k] > sum[choice]) choice = k;
        out[x] = index[choice];
        continue;
      }
      for (int ch = 0; ch < bpp; ++ch)
        out[size_t(x) * bpp + ch] = static_cast<uint8_t>(
            (top[left + ch] + top[right + ch] + bottom[left + ch] + bottom[right + ch]) >> 2);
    }
  }
  return true;
}

bool CNoxImage::scale_to(int newWidth, int newHeight) {
  const int bpp = bytesPerPixel_;
  if (newWidth < 1 || newHeight < 1 || width_ < 1 || height_ < 1 || !pixels_ || bpp < 1)
    return false;
  const int64_t stepX = (int64_t(width_) << 8) / newWidth;
  const int64_t stepY = (int64_t(height_) << 8) / newHeight;
  const int64_t stride = rowStride_ > 0 ? rowStride_ : int64_t(width_) * bpp;
  std::vector<uint8_t> scaled(static_cast<size_t>(
      std::max<int64_t>(nbnImageBytes(newWidth, newHeight, bpp, 1.5f), 0)));
  const size_t newSize = size_t(newWidth) * newHeight * bpp;
  if (scaled.size() < newSize) return false;

  const auto sourcePixel = [&](int64_t row, int64_t col) {
    return pixels_ + row * stride + col * bpp;
  };
  // Running sums of the palette vote: kept from one output pixel to the next, by design.
  int16_t voteSum[256] = {};
  uint8_t* out = scaled.data();
  for (int oy = 0; oy < newHeight; ++oy) {
    const int64_t y0 = oy * stepY;
    const int64_t y1 = y0 + stepY;
    for (int ox = 0; ox < newWidth; ++ox, out += bpp) {
      const int64_t x0 = ox * stepX;
      const int64_t x1 = x0 + stepX;
      if (pictureFormat_ == kNbnIndexed) {
        int sign = 1;
        int best = 0;
        uint8_t choice = 255;
        forEachCell(x0, x1, y0, y1, [&](int64_t row, int64_t col, int64_t weight) {
          const uint8_t index = *sourcePixel(row, col);
          if (hasPalette_ && palette_[index] == 0) weight >>= 4;
          int sum = voteSum[index];
          if (sum * sign < 0) sum = 0;
          sum += static_cast<int>(weight) * sign;
          if (sum * sign >= best) {
            best = sum * sign;
            choice = index;
          }
          voteSum[index] = static_cast<int16_t>(sum);
          sign = -sign;
        });
        *out = choice;
        continue;
      }
      int64_t weightSum = 0;
      int64_t channelSum[4] = {};
      forEachCell(x0, x1, y0, y1, [&](int64_t row, int64_t col, int64_t weight) {
        const uint8_t* px = sourcePixel(row, col);
        weightSum += weight;
        for (int ch = 0; ch < bpp; ++ch) channelSum[ch] += weight * px[ch];
      });
      if (weightSum == 0) {
        // Growing a side more than 256 times leaves cells that cover no source pixel; they
        // take the pixel they start in.
        const uint8_t* px = sourcePixel(std::min<int64_t>(y0 >> 8, height_ - 1),
                                        std::min<int64_t>(x0 >> 8, width_ - 1));
        std::memcpy(out, px, size_t(bpp));
        continue;
      }
      for (int ch = 0; ch < bpp; ++ch) out[ch] = static_cast<uint8_t>(channelSum[ch] / weightSum);
    }
  }

  if (!set_geometry(newWidth, newHeight, pictureFormat_) || !pixels_ ||
      picture_room() < int64_t(newSize))
    return false;
  rowStride_ = 0;
  std::memcpy(pixels_, scaled.data(), newSize);
  return true;
}

bool CNoxImage::crop(int x1, int y1, int x2, int y2) {
  const int bpp = bytesPerPixel_;
  if (x1 > width_ || x2 > width_ || y1 > height_ || y2 > height_) return false;
  // Empty or reversed rectangles and negative corners name no pixels of the picture.
  if (x1 < 0 || y1 < 0 || x2 <= x1 || y2 <= y1 || !pixels_ || bpp < 1) return false;
  const int64_t stride = rowStride_ > 0 ? rowStride_ : int64_t(width_) * bpp;
  const size_t rowBytes = size_t(x2 - x1) * bpp;
  std::vector<uint8_t> kept;
  try {
    kept.resize(rowBytes * size_t(y2 - y1));
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (int row = y1; row < y2; ++row)
    std::memcpy(kept.data() + size_t(row - y1) * rowBytes, pixels_ + row * stride + int64_t(x1) * bpp,
                rowBytes);

  if (hasGeo_) {
    const double dx = (geoBounds_[1] - geoBounds_[0]) / width_;
    const double dy = (geoBounds_[3] - geoBounds_[2]) / height_;
    geoBounds_[1] = x2 * dx + geoBounds_[0];
    geoBounds_[3] = y2 * dy + geoBounds_[2];
    geoBounds_[2] = y1 * dy + geoBounds_[2];
    geoBounds_[0] = x1 * dx + geoBounds_[0];
  }
  if (!set_geometry(x2 - x1, y2 - y1, pictureFormat_) || !pixels_ ||
      picture_room() < int64_t(kept.size()))
    return false;
  rowStride_ = 0;
  std::memcpy(pixels_, kept.data(), kept.size());
  return true;
}

bool CNoxImage::fit_to_multiple(int packWord, unsigned flags) {
  const int divisor = save_divisor(packWord, flags);
  if (divisor == 0) return false;
  const int rx = width_ % divisor;
  const int ry = height_ % divisor;
  if (rx == 0 && ry == 0) return true;
  if (flags & kNbnFitScale)
    return scale_to(width_ + (divisor - rx) % divisor, height_ + (divisor - ry) % divisor);
  if (flags & kNbnFitCrop)
    return crop(rx / 2, ry / 2, width_ - int((rx + 1) * 0.5), height_ - int((ry + 1) * 0.5));
  return false;
}

void CNoxImage::adopt_rgba(uint8_t* buffer, int64_t size) {
  // The caller's buffer stays the caller's; the new one is the object's, so the picture
  // leaves storage mode 3.
  if (storageMode_ == 3)
    storageMode_ = 1;
  else
    std::free(pixels_);
  pixels_ = buffer;
  levelPixels_[0] = buffer;
  usedSize_ = size;
  capacity_ = size;
  rowStride_ = 0;
  set_format(kNbnRgba);
}

bool CNoxImage::convert_to_rgba(unsigned flags) {
  if (pictureFormat_ == kNbnRgba) return true;
  if (!pixels_) {
    pictureFormat_ = kNbnRgba;
    return false;
  }
  const int64_t size = nbnImageBytes(width_, height_, 4, 1.5f);
  auto* rgba = size > 0 ? static_cast<uint8_t*>(std::calloc(size_t(size), 1)) : nullptr;
  if (!rgba) {
    std::printf("ERROR : PICTURE_DATA fail to allocate %.2f MB\n", double(size) * (1.0 / 1048576));
    return false;
  }
  const uint8_t* old = pixels_;
  const int64_t count = int64_t(width_) * height_;
  switch (pictureFormat_) {
    case kNbnAlpha:
    case kNbnLuminance: {
      // The whole used buffer, mip levels included; the caller's buffer has no used size.
      const int64_t bytes = std::min(storageMode_ == 3 ? count : usedSize_, size / 4);
      for (int64_t i = 0; i < bytes; ++i) std::memset(rgba + 4 * i, old[i], 4);
      break;
    }
    case kNbnLuminanceAlpha:
      for (int64_t i = 0; i < count; ++i) {
        std::memset(rgba + 4 * i, old[2 * i], 3);
        rgba[4 * i + 3] = old[2 * i + 1];
      }
      break;
    case kNbnRgb:
      for (int64_t i = 0; i < count; ++i) {
        const uint8_t* px = old + 3 * i;
        std::memcpy(rgba + 4 * i, px, 3);
        rgba[4 * i + 3] = (flags & kNbnAlphaFromColour) ? uint8_t((px[0] + px[1] + px[2]) / 3) : 255;
      }
      break;
    default:
      std::free(rgba);
      return false;
  }
  adopt_rgba(rgba, size);
  return true;
}

bool CNoxImage::expand_palette() {
  if (pictureFormat_ != kNbnIndexed || !hasPalette_ || !pixels_) return false;
  const int64_t size = nbnImageBytes(width_, height_, 4, 1.5f);
  auto* rgba = size > 0 ? static_cast<uint8_t*>(std::calloc(size_t(size), 1)) : nullptr;
  if (!rgba) return false;
  const int64_t count = int64_t(width_) * height_;
  for (int64_t i = 0; i < count; ++i) {
    const uint8_t index = pixels_[i];
    const uint32_t colour = palette_[index];
    uint8_t* px = rgba + 4 * i;
    px[0] = uint8_t(colour);
    px[1] = uint8_t(colour >> 8);
    px[2] = uint8_t(colour >> 16);
    px[3] = index == transparentIndex_ ? 0 : 255;
  }
  adopt_rgba(rgba, size);
  transparentIndex_ = -1;
  hasPalette_ = false;
  return true;
}

bool CNoxImage::fill_blank() {
  if (storageMode_ == 0) storageMode_ = 1;
  set_geometry(width_, height_, pictureFormat_);
  levelCount_ = 0;
  const int64_t size = nbnImageBytes(width_, height_, bytesPerPixel_);
  if (!pixels_ || size < 1 || size > picture_room()) return false;
  std::memset(pixels_, 204, size_t(size));
  return true;
}

bool CNoxImage::set_pixel(int x, int y, uint32_t colour) {
  const int bpp = bytesPerPixel_;
  if (x < 0 || y < 0 || x >= width_ || y >= height_ || !pixels_ || bpp < 1) return false;
  const int64_t offset = (int64_t(y) * width_ + x) * bpp;
  if (offset + bpp > picture_room()) return false;
  for (int k = 0; k < bpp; ++k) pixels_[offset + k] = uint8_t(colour >> (8 * (bpp - 1 - k)));
  return true;
}

}  // namespace nox::image::io
