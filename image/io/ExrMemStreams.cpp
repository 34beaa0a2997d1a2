#include "image/io/ExrMemStreams.h"

#include <OpenEXR/Iex.h>

#include <cstring>

#include "image/io/ImageHandlerException.h"

namespace nox::image::io {
namespace {

// OpenEXR shows the name only in its messages.
constexpr const char* kStreamName = "nonsense";

// True when `n` bytes fit at `position` of a block of `size`, without overflow.
bool fits(uint64_t position, int n, uint64_t size) {
  return n >= 0 && position <= size && static_cast<uint64_t>(n) <= size - position;
}

}  // namespace

MemIStream::MemIStream(const char* data, uint64_t size) : Imf::IStream(kStreamName), data_(data), size_(size) {}

bool MemIStream::read(char c[], int n) {
  // OpenEXR ignores the result of a read and only stops on an exception: a read that comes
  // back empty-handed would let its loops (skipping chunk data, rebuilding the offset table)
  // run on for every byte the file declares.
  if (!fits(position_, n, size_)) {
    if (n > 0) std::memset(c, 0, static_cast<size_t>(n));
    throw Iex::InputExc("Early end of file");
  }
  if (n > 0) std::memcpy(c, data_ + position_, static_cast<size_t>(n));
  position_ += static_cast<uint64_t>(n);
  return true;
}

MemOStream::MemOStream(char* data, uint64_t size) : Imf::OStream(kStreamName), data_(data), size_(size) {}

void MemOStream::write(const char c[], int n) {
  if (!fits(position_, n, size_)) throw Iex::IoExc(kInsufficientMemoryMessage);
  if (n > 0) std::memcpy(data_ + position_, c, static_cast<size_t>(n));
  position_ += static_cast<uint64_t>(n);
}

}  // namespace nox::image::io
