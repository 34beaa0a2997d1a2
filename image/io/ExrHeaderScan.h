#pragma once
// A look at the headers of an EXR file before the OpenEXR library opens it. The library
// sizes its buffers by what a header declares (attribute sizes, preview images, the data
// window and its chunk table) before it finds out that the file cannot hold that much, so
// such headers are refused here first.

#include <cstddef>
#include <cstdint>
#include <optional>

namespace nox::image::io {

struct ExrWindow {
  int32_t minX, minY, maxX, maxY;
};

struct ExrHeaderScan {
  // The block starts with the EXR magic number; nothing else is looked at otherwise.
  bool magic = false;
  // Every attribute of every header, and the empty names that end them, lie inside the
  // block, and every preview image fits its attribute.
  bool complete = false;
  // The "dataWindow" attribute of type "box2i" of the first header, when there is one.
  std::optional<ExrWindow> dataWindow;
  // The "compression" attribute of the first header (0, none, when there is none).
  uint8_t compression = 0;
  // The first header declares tiles.
  bool tiled = false;
  // Where the headers end: the chunk offset table starts here.
  size_t headerEnd = 0;
};

// Walks the attributes of the headers in the `size` bytes at `data` (null: no bytes).
ExrHeaderScan scanExrHeader(const uint8_t* data, size_t size);

// True when the window names more than `limit` pixels.
bool exrWindowExceeds(const ExrWindow& window, uint64_t limit);

// The fewest bytes after the headers that can hold the window's pixels: the chunk offset
// table of a scanline file, or one half-float channel at the best ratio of `compression`.
uint64_t exrMinimumPixelBytes(const ExrWindow& window, uint8_t compression, bool tiled);

}  // namespace nox::image::io
