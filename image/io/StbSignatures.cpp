#include "image/io/StbSignatures.h"

#include <initializer_list>

namespace nox::image::io {
namespace {

// Reads a block front to back; past its end every byte is 0.
class Cursor {
 public:
  Cursor(const uint8_t* data, size_t size) : data_(data), size_(data != nullptr ? size : 0) {}

  uint32_t get8() { return position_ < size_ ? data_[position_++] : 0u; }
  uint32_t get16le() {
    const uint32_t low = get8();
    return low | get8() << 8;
  }
  uint32_t get32le() {
    const uint32_t low = get16le();
    return low | get16le() << 16;
  }
  uint32_t get16be() {
    const uint32_t high = get8();
    return high << 8 | get8();
  }
  uint32_t get32be() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | get8();
    return value;
  }
  void skip(size_t count) { position_ = count < size_ - position_ ? position_ + count : size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t position_ = 0;
};

bool oneOf(uint32_t value, std::initializer_list<uint32_t> accepted) {
  for (uint32_t a : accepted) {
    if (value == a) return true;
  }
  return false;
}

}  // namespace

bool isPngSignature(const uint8_t* data, size_t size) {
  static constexpr uint8_t kSignature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
  Cursor in(data, size);
  for (uint8_t expected : kSignature) {
    if (in.get8() != expected) return false;
  }
  return true;
}

bool isJpegSignature(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  uint32_t marker = in.get8();
  if (marker != 0xFF) return false;
  while (marker == 0xFF) marker = in.get8();
  return marker == 0xD8;
}

bool isBmpSignature(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  if (in.get8() != 'B' || in.get8() != 'M') return false;
  in.skip(12);  // file size, two reserved words, pixel data offset
  return oneOf(in.get32le(), {12, 40, 56, 108, 124});
}

bool isPsdSignature(const uint8_t* data, size_t size) { return Cursor(data, size).get32be() == 943870035u; }

bool isTgaSignature(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  in.get8();  // length of the image id
  const uint32_t colourMapType = in.get8();
  if (colourMapType > 1) return false;
  const uint32_t imageType = in.get8();
  if (colourMapType == 1) {
    if (!oneOf(imageType, {1, 9})) return false;
    in.skip(4);  // first entry and length of the colour map
    if (!oneOf(in.get8(), {8, 15, 16, 24, 32})) return false;
    in.skip(4);  // origin
  } else {
    if (!oneOf(imageType, {2, 3, 10, 11})) return false;
    in.skip(9);  // colour map description and origin
  }
  if (in.get16le() < 1 || in.get16le() < 1) return false;
  const uint32_t bits = in.get8();
  if (colourMapType == 1 && !oneOf(bits, {8, 16})) return false;
  return oneOf(bits, {8, 15, 16, 24, 32});
}

uint32_t psdDepth(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  in.skip(22);  // signature, version, reserved bytes, channel count, height, width
  return in.get16be();
}

int detectStbFileType(const uint8_t* data, size_t size) {
  if (isPngSignature(data, size)) return PNG;
  if (isJpegSignature(data, size)) return JPEG;
  if (isBmpSignature(data, size)) return BMP;
  if (isPsdSignature(data, size)) return PSD;
  if (isTgaSignature(data, size)) return TGA;
  return 0;
}

}  // namespace nox::image::io
