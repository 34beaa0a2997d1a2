#pragma once
// The storage of an image: pixels row by row, bottom row first as a GL texture stores them.

#include "image/image/ImageFormat.h"

#include <cstdint>
#include <vector>

namespace nox::image {

template <class P>
struct ImageData {
  // Rows of `width` pixels without padding, first row = bottom row. For the DXT words one
  // element per 4x4 block, while width and height stay pixel sizes.
  std::vector<P> pixels;
  uint32_t width = 0;
  uint32_t height = 0;
  ImageFormat format = 0;
};

}  // namespace nox::image
