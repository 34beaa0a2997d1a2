#pragma once
// A look at the first header of an EXR file before the OpenEXR library opens it. The library
// sizes its buffers by what the header declares (attribute sizes, the data window) before it
// finds out that the file cannot hold that much, so such headers are refused here first.

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
  // Every attribute, and the empty name that ends the header, lies inside the block.
  bool complete = false;
  // The "dataWindow" attribute of type "box2i", when there is one.
  std::optional<ExrWindow> dataWindow;
};

// Walks the attributes of the first header in the `size` bytes at `data` (null: no bytes).
ExrHeaderScan scanExrHeader(const uint8_t* data, size_t size);

// True when the window names more than `limit` pixels.
bool exrWindowExceeds(const ExrWindow& window, uint64_t limit);

}  // namespace nox::image::io
