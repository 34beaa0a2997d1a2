#include "image/edit/ImageEdit.h"

#include "image/edit/TransposeCycles.h"
#include "image/image/PixelTypes.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace nox::image::edit {
namespace {

template <class P>
P lerp(const P& p, const P& q, double t) {
  return p * (1.0 - t) + q * t;
}

// Reads element `index` for the resampler. Neighbours outside the picture always carry
// weight 0: on a one-column image the right neighbour is the next row's first pixel, and
// past the last row, or above a one-row image, it lies beyond the vector. Such reads give a
// zero pixel rather than memory beyond the storage; every read inside the vector is the one
// the sampling rule names.
template <class P>
P pixelAt(const std::vector<P>& pixels, uint64_t index) {
  return index < pixels.size() ? pixels[index] : P{};
}

// Swaps two pixels; a pixel that the vector does not hold is left out.
template <class P>
void swapPixels(std::vector<P>& pixels, uint64_t a, uint64_t b) {
  if (a < pixels.size() && b < pixels.size()) std::swap(pixels[a], pixels[b]);
}

}  // namespace

template <class P>
void resize(unsigned width, unsigned height, ImageData<P>& image) {
  std::vector<P> out;
  const uint64_t count = uint64_t{width} * height;
  if (count != 0) out.reserve(count);
  const uint64_t stride = image.width;
  for (unsigned y = 0; y < height; ++y) {
    const double sy = (double(image.height) - 1.0) * (double(y) / double(height));
    const auto iy = static_cast<uint64_t>(std::max(sy, 0.0));
    const double ty = sy - double(iy);
    for (unsigned x = 0; x < width; ++x) {
      const double sx = double(x) * (1.0 / double(width)) * (double(image.width) - 1.0);
      const auto ix = static_cast<uint64_t>(std::max(sx, 0.0));
      const double tx = sx - double(ix);
      const uint64_t a = iy * stride + ix;
      const uint64_t c = (iy + 1) * stride + ix;
      const P below = lerp(pixelAt(image.pixels, a), pixelAt(image.pixels, a + 1), tx);
      const P above = lerp(pixelAt(image.pixels, c), pixelAt(image.pixels, c + 1), tx);
      out.push_back(lerp(below, above, ty));
    }
  }
  image.pixels = std::move(out);
  image.width = width;
  image.height = height;
}

template <class P>
void flip(Direction direction, ImageData<P>& image) {
  auto& pixels = image.pixels;
  const uint64_t width = image.width;
  if (direction == Horizontal) {
    for (uint64_t y = 0; y < image.height; ++y) {
      for (uint64_t x = 0; x < width / 2; ++x) swapPixels(pixels, y * width + x, y * width + width - 1 - x);
    }
  } else if (direction == Vertical) {
    if (image.height < 2) return;
    for (uint64_t y = 0; y < image.height / 2; ++y) {
      const uint64_t mirror = image.height - 1 - y;
      for (uint64_t x = 0; x < width; ++x) swapPixels(pixels, y * width + x, mirror * width + x);
    }
  }
}

template <class P>
void transpose(ImageData<P>& image) {
  detail::transposeCycles(uint64_t{image.width} * image.height, image.height,
                          [&pixels = image.pixels](uint64_t next, uint64_t i) { swapPixels(pixels, next, i); });
  std::swap(image.width, image.height);
}

template <class P>
void rotate(Rotation rotation, ImageData<P>& image) {
  switch (rotation) {
    case Clockwise180:
      flip(Horizontal, image);
      flip(Vertical, image);
      break;
    case Clockwise270:
      transpose(image);
      flip(Vertical, image);
      break;
    default:
      transpose(image);
      flip(Horizontal, image);
      break;
  }
}

#define NOX_INSTANTIATE_EDITS(P)                              \
  template void resize<P>(unsigned, unsigned, ImageData<P>&); \
  template void flip<P>(Direction, ImageData<P>&);            \
  template void rotate<P>(Rotation, ImageData<P>&);           \
  template void transpose<P>(ImageData<P>&);
NOX_IMAGE_FOR_EACH_PIXEL(NOX_INSTANTIATE_EDITS)
#undef NOX_INSTANTIATE_EDITS

}  // namespace nox::image::edit
