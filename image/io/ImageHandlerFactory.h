#pragma once
// The two chains that choose a format handler: by file name extension and by content. Both
// try the families in the order DDS, EXR, HDR, STBI, NBN and build the first that accepts.

#include <cstdint>
#include <memory>
#include <string>

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

// The handler for the extension of `fileName` (see fileExtension), with the whole file read.
// Throws ImageHandlerException kNoHandler "File format is unsupported" when no family takes
// the extension (the file is then not touched; "dds" is refused too), or kFileUnreadable
// when a family takes it and the file cannot be read.
std::shared_ptr<ImageHandlerImpl> createFromPath(const std::string& fileName, uint16_t options);

// The handler whose content test accepts the `size` bytes at `data`, holding a copy of them.
// Throws kNoHandler "File format is unsupported" when none does; an NBN block is never
// recognised. A null block or a size below 1 counts as empty.
std::shared_ptr<ImageHandlerImpl> createFromMemory(const void* data, int32_t size, uint16_t options);

}  // namespace nox::image::io
