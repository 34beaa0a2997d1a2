#include "image/io/StbSignatures.h"

#include <algorithm>
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
  size_t position() const { return position_; }
  size_t left() const { return size_ - position_; }

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

namespace {

// Deflate codes at most 258 bytes in one bit pair of a fixed code: about 1032 to 1 at best.
constexpr uint64_t kDeflateBestRatio = 1032;
// A progressive JPEG spends at least one bit on the DC term of each 8 x 8 block.
constexpr uint64_t kJpegBestPixelsPerByte = 512;

uint64_t ceilDiv(uint64_t a, uint64_t b) { return (a + b - 1) / b; }

StbDeclared cutShort(size_t headerLength) {
  StbDeclared d;
  d.minimumBytes = headerLength;
  return d;
}

StbDeclared png(const uint8_t* data, size_t size) {
  constexpr size_t kHeaderEnd = 33;  // signature, IHDR chunk with its length, type and CRC
  if (size < kHeaderEnd) return cutShort(kHeaderEnd);
  Cursor in(data, size);
  in.skip(16);
  StbDeclared d;
  d.width = in.get32be();
  d.height = in.get32be();
  const uint32_t depth = in.get8();
  const uint32_t colourType = in.get8();
  const uint64_t channels = colourType == 2 ? 3 : colourType == 4 ? 2 : colourType == 6 ? 4 : 1;
  // Each row: a filter byte and its packed samples.
  const uint64_t raw = static_cast<uint64_t>(d.height) * (1 + ceilDiv(static_cast<uint64_t>(d.width) * channels * depth, 8));
  d.minimumBytes = kHeaderEnd + raw / kDeflateBestRatio;
  // stb_image grows its buffer to a chunk's declared length before reading the chunk: every
  // chunk up to the end marker must lie within the file.
  for (uint64_t at = 8; at < size;) {
    Cursor chunk(data + at, size - at);
    const uint64_t end = at + 12 + chunk.get32be();
    if (end > size) {
      d.minimumBytes = std::max(d.minimumBytes, end);
      break;
    }
    if (chunk.get32be() == 0x49454E44u) break;  // IEND
    at = end;
  }
  return d;
}

// Huffman tables that a scan uses must have been defined: stb_image decodes with whatever its
// table memory holds otherwise, and its debug check aborts the process.
bool scanTablesDefined(Cursor& in, uint32_t length, bool progressive, const bool defined[2][4]) {
  const uint32_t components = in.get8();
  uint32_t selectors[4] = {};
  for (uint32_t i = 0; i < components && i < 4; ++i) {
    in.get8();  // component id
    selectors[i] = in.get8();
  }
  for (uint32_t i = 4; i < components; ++i) in.skip(2);
  const uint32_t spectralStart = in.get8();
  in.get8();  // spectral end
  const uint32_t approximation = in.get8();
  in.skip(length >= 6 + 2 * components ? length - 6 - 2 * components : 0);
  // A progressive scan uses the DC tables in its first DC pass and the AC tables in AC passes.
  const bool useDc = !progressive || (spectralStart == 0 && (approximation >> 4) == 0);
  const bool useAc = !progressive || spectralStart != 0;
  for (uint32_t i = 0; i < components && i < 4; ++i) {
    const uint32_t dc = selectors[i] >> 4;
    const uint32_t ac = selectors[i] & 15;
    if ((useDc && (dc > 3 || !defined[0][dc])) || (useAc && (ac > 3 || !defined[1][ac]))) return false;
  }
  return true;
}

StbDeclared jpeg(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  in.skip(2);  // start of image
  StbDeclared d;
  bool frameSeen = false;
  bool progressive = false;
  bool defined[2][4] = {};
  while (in.left() > 0) {
    // Marker bytes; anything else (entropy-coded data, stuffed zeros) is passed over.
    if (in.get8() != 0xFF) continue;
    uint32_t marker = in.get8();
    while (marker == 0xFF) marker = in.get8();
    if (marker == 0xD9) break;  // end of image
    if (marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;  // no segment
    const uint32_t length = in.get16be();
    const size_t end = in.position() + (length >= 2 ? length - 2 : 0);
    const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (frame && !frameSeen) {
      frameSeen = true;
      progressive = marker == 0xC2;
      in.get8();  // sample precision
      d.height = in.get16be();
      d.width = in.get16be();
      const uint64_t pixels = static_cast<uint64_t>(d.width) * static_cast<uint64_t>(d.height);
      d.minimumBytes = in.position() + ceilDiv(pixels, kJpegBestPixelsPerByte);
    } else if (marker == 0xC4) {
      while (in.position() + 17 <= std::min(end, size)) {
        const uint32_t head = in.get8();
        uint32_t count = 0;
        for (int i = 0; i < 16; ++i) count += in.get8();
        if ((head >> 4) <= 1 && (head & 15) <= 3) defined[head >> 4][head & 15] = true;
        in.skip(count);
      }
    } else if (marker == 0xDA) {
      if (!scanTablesDefined(in, length, progressive, defined)) {
        d.damaged = true;
        return d;
      }
    }
    in.skip(end > in.position() ? end - in.position() : 0);
  }
  return frameSeen ? d : StbDeclared{};
}

StbDeclared bmp(const uint8_t* data, size_t size) {
  Cursor in(data, size);
  in.skip(10);
  const uint64_t pixelOffset = in.get32le();
  const uint32_t infoSize = in.get32le();
  const size_t headerEnd = 14 + (infoSize == 12 ? 12 : 40);
  if (size < headerEnd) return cutShort(headerEnd);
  StbDeclared d;
  uint32_t bits = 0;
  if (infoSize == 12) {
    d.width = in.get16le();
    d.height = in.get16le();
    in.get16le();  // planes
    bits = in.get16le();
  } else {
    d.width = static_cast<int32_t>(in.get32le());
    d.height = static_cast<int32_t>(in.get32le());
    in.get16le();  // planes
    bits = in.get16le();
  }
  // A negative height stores the rows top first.
  if (d.height < 0) d.height = -d.height;
  if (d.width < 1 || d.height < 1) return d;
  const auto width = static_cast<uint64_t>(d.width);
  const uint64_t stride = ceilDiv(width * bits, 32) * 4;
  // The last row need not carry its padding.
  const uint64_t pixelBytes = (static_cast<uint64_t>(d.height) - 1) * stride + ceilDiv(width * bits, 8);
  d.minimumBytes = std::max<uint64_t>(pixelOffset, headerEnd) + pixelBytes;
  return d;
}

StbDeclared tga(const uint8_t* data, size_t size) {
  constexpr size_t kHeaderSize = 18;
  if (size < kHeaderSize) return cutShort(kHeaderSize);
  Cursor in(data, size);
  const uint32_t idLength = in.get8();
  const uint32_t colourMapType = in.get8();
  const uint32_t imageType = in.get8();
  in.get16le();  // first colour map entry
  const uint32_t mapLength = in.get16le();
  const uint32_t mapBits = in.get8();
  in.skip(4);  // origin
  StbDeclared d;
  d.width = in.get16le();
  d.height = in.get16le();
  const uint64_t pixelSize = ceilDiv(in.get8(), 8);
  in.get8();  // descriptor
  const uint64_t mapBytes = colourMapType == 1 ? mapLength * ceilDiv(mapBits, 8) : 0;
  const uint64_t start = kHeaderSize + idLength + mapBytes;
  const uint64_t pixels = static_cast<uint64_t>(d.width) * static_cast<uint64_t>(d.height);
  if (imageType < 8) {
    d.minimumBytes = start + pixels * pixelSize;
    return d;
  }
  // Run-length packets: a head byte, then one value for a run or up to 128 for a literal.
  // Walking their heads costs at most one step per two bytes of the file.
  uint64_t at = start;
  uint64_t covered = 0;
  while (covered < pixels && at < size) {
    const uint32_t head = data[at++];
    const uint64_t count = (head & 0x7F) + 1;
    at += (head & 0x80) ? pixelSize : count * pixelSize;
    covered += count;
  }
  // Packets still missing need a head and a value each, for 128 pixels at most.
  const uint64_t missing = covered < pixels ? ceilDiv(pixels - covered, 128) * (1 + pixelSize) : 0;
  d.minimumBytes = at + missing;
  return d;
}

StbDeclared psd(const uint8_t* data, size_t size) {
  constexpr size_t kHeaderSize = 26;
  if (size < kHeaderSize) return cutShort(kHeaderSize);
  Cursor in(data, size);
  in.skip(12);  // signature, version, reserved
  const uint64_t channels = in.get16be();
  StbDeclared d;
  d.height = in.get32be();
  d.width = in.get32be();
  const uint64_t depthBytes = ceilDiv(in.get16be(), 8);
  in.get16be();  // colour mode
  for (int section = 0; section < 3; ++section) {  // colour mode data, resources, layers
    const uint32_t length = in.get32be();
    if (length > in.left()) return cutShort(in.position() + length);
    in.skip(length);
  }
  if (in.left() < 2) return cutShort(in.position() + 2);
  const uint32_t compression = in.get16be();
  const uint64_t pixels = static_cast<uint64_t>(d.width) * static_cast<uint64_t>(d.height);
  // Only the first four channels are decoded.
  const uint64_t decoded = std::min<uint64_t>(channels, 4);
  if (compression != 1) {
    d.minimumBytes = in.position() + decoded * pixels * depthBytes;
    return d;
  }
  // Packed rows: a table of the byte counts of every row of every channel, then the rows.
  const uint64_t rows = static_cast<uint64_t>(d.height) * channels;
  if (rows * 2 > in.left()) return cutShort(in.position() + rows * 2);
  uint64_t packed = 0;
  for (uint64_t row = 0; row < rows; ++row) {
    const uint32_t count = in.get16be();
    if (row < decoded * static_cast<uint64_t>(d.height)) packed += count;
  }
  // However the table counts, a packet of two bytes carries at most 128 pixels.
  d.minimumBytes = in.position() + std::max(packed, decoded * 2 * ceilDiv(pixels, 128));
  return d;
}

}  // namespace

StbDeclared declaredStbPicture(int type, const uint8_t* data, size_t size) {
  if (data == nullptr) size = 0;
  switch (type) {
    case PNG: return png(data, size);
    case JPEG: return jpeg(data, size);
    case BMP: return bmp(data, size);
    case TGA: return tga(data, size);
    case PSD: return psd(data, size);
    default: return StbDeclared{};
  }
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
