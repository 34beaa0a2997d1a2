#include "image/edit/RawEdit.h"

#include "image/edit/TransposeCycles.h"

#include <Imath/half.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace nox::image::edit {
namespace {

constexpr ImageFormat kFloatBit = 2048;
constexpr ImageFormat kTwoByteBit = 256;

template <class E>
struct ComponentTag {
  using type = E;
};

// Calls fn with the ComponentTag of the component type that the word names.
template <class Fn>
void withComponentType(ImageFormat format, Fn&& fn) {
  if (format & kFloatBit) {
    if (format & kTwoByteBit) fn(ComponentTag<half>{});
    else fn(ComponentTag<float>{});
  } else {
    if (format & kTwoByteBit) fn(ComponentTag<unsigned short>{});
    else fn(ComponentTag<unsigned char>{});
  }
}

// The shared frame: copy the image's bytes, run `edit(tag, buffer, channels)` for the
// component type of `componentWord` on the copy, and copy back only if it succeeded.
template <class Edit>
void editCopy(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format, ImageFormat componentWord,
              Edit&& edit) {
  const unsigned channels = formatChannels(format);
  const uint64_t size = formatImageSize(static_cast<int>(width), static_cast<int>(height), format);
  std::vector<unsigned char> buffer(pixels, pixels + size);
  withComponentType(componentWord, [&](auto tag) { edit(tag, buffer, channels); });
  std::copy(buffer.begin(), buffer.end(), pixels);
}

// Both offsets are checked, the first before the second, before anything moves.
template <class E>
void swapElements(std::vector<unsigned char>& buffer, unsigned first, unsigned second) {
  E* a = elementAt<E>(buffer, first);
  E* b = elementAt<E>(buffer, second);
  std::swap(*a, *b);
}

}  // namespace

template <class E>
E* elementAt(std::vector<unsigned char>& buffer, unsigned index) {
  const uint32_t offset = index * static_cast<uint32_t>(sizeof(E));
  // An element that starts inside but ends beyond the buffer is refused too, so that no
  // byte outside it is ever read.
  if (offset >= buffer.size() || buffer.size() - offset < sizeof(E)) throw std::runtime_error("data overflow");
  return reinterpret_cast<E*>(buffer.data() + offset);
}

template <class E>
void mirrorRows(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels) {
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width / 2; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        swapElements<E>(buffer, y * width * channels + x * channels + c,
                        (y + 1) * width * channels - (x + 1) * channels + c);
      }
    }
  }
}

template <class E>
void reverseRows(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels) {
  const unsigned row = width * channels;
  for (unsigned y = 0; y < height / 2; ++y) {
    for (unsigned i = 0; i < row; ++i) swapElements<E>(buffer, y * row + i, (height - y - 1) * row + i);
  }
}

template <class E>
void transposeBuffer(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels) {
  detail::transposeCycles(uint64_t{width} * height, height, [&](uint64_t next, uint64_t i) {
    for (unsigned c = 0; c < channels; ++c) {
      swapElements<E>(buffer, static_cast<unsigned>(next * channels + c), static_cast<unsigned>(i * channels + c));
    }
  });
}

template <class E>
void rotateBuffer(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels,
                  Rotation rotation) {
  switch (rotation) {
    case Clockwise90:
      transposeBuffer<E>(buffer, width, height, channels);
      mirrorRows<E>(buffer, height, width, channels);
      break;
    case Clockwise180:
      mirrorRows<E>(buffer, width, height, channels);
      reverseRows<E>(buffer, width, height, channels);
      break;
    case Clockwise270:
      transposeBuffer<E>(buffer, width, height, channels);
      reverseRows<E>(buffer, height, width, channels);
      break;
    default:
      break;
  }
}

void flipRawHorizontal(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format) {
  const ImageFormat componentWord = (format & kFloatBit) ? format : (format & ~kTwoByteBit);
  editCopy(pixels, width, height, format, componentWord, [&](auto tag, auto& buffer, unsigned channels) {
    mirrorRows<typename decltype(tag)::type>(buffer, width, height, channels);
  });
}

void flipRawVertical(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format) {
  editCopy(pixels, width, height, format, format, [&](auto tag, auto& buffer, unsigned channels) {
    reverseRows<typename decltype(tag)::type>(buffer, width, height, channels);
  });
}

void rotateRaw(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format, Rotation rotation) {
  editCopy(pixels, width, height, format, format, [&](auto tag, auto& buffer, unsigned channels) {
    rotateBuffer<typename decltype(tag)::type>(buffer, width, height, channels, rotation);
  });
}

#define NOX_INSTANTIATE_RAW(E)                                                                           \
  template E* elementAt<E>(std::vector<unsigned char>&, unsigned);                                       \
  template void mirrorRows<E>(std::vector<unsigned char>&, unsigned, unsigned, unsigned);                \
  template void reverseRows<E>(std::vector<unsigned char>&, unsigned, unsigned, unsigned);               \
  template void transposeBuffer<E>(std::vector<unsigned char>&, unsigned, unsigned, unsigned);           \
  template void rotateBuffer<E>(std::vector<unsigned char>&, unsigned, unsigned, unsigned, Rotation);
NOX_INSTANTIATE_RAW(unsigned char)
NOX_INSTANTIATE_RAW(unsigned short)
NOX_INSTANTIATE_RAW(float)
NOX_INSTANTIATE_RAW(half)
#undef NOX_INSTANTIATE_RAW

}  // namespace nox::image::edit
