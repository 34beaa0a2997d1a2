#pragma once
// EXIF blocks built byte by byte for the tests: a TIFF structure with IFD 0, an EXIF IFD and
// a GPS IFD, wrapped in an APP1 segment, and JPEG streams that carry it.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace nox::test::exif {

using Bytes = std::vector<uint8_t>;

class ExifBuilder {
 public:
  explicit ExifBuilder(bool littleEndian) : little_(littleEndian) {}

  // Entries of the three IFDs; `value` is in file byte order (see the encoders below) and
  // lands in the data field when it has four bytes or fewer, else behind the IFDs. The EXIF
  // and GPS IFDs are linked from IFD 0 when they hold an entry.
  ExifBuilder& main(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value);
  ExifBuilder& exif(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value);
  ExifBuilder& gps(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value);

  // Values in the builder's byte order.
  Bytes u16(std::initializer_list<uint16_t> values) const;
  Bytes u32(std::initializer_list<uint32_t> values) const;
  Bytes rationals(std::initializer_list<std::pair<uint32_t, uint32_t>> values) const;
  // The text with its terminating zero byte.
  static Bytes ascii(const std::string& text);

  // Common entries.
  ExifBuilder& orientation(uint16_t value) { return main(274, 3, 1, u16({value})); }

  // "II"/"MM", 42, the offset 8 of IFD 0, the IFDs and the values.
  Bytes tiff() const;
  // FF E1, the big-endian segment length, "Exif\0\0" and the TIFF structure.
  Bytes segment() const;

 private:
  struct Entry {
    uint16_t tag;
    uint16_t format;
    uint32_t count;
    Bytes value;
  };
  void put16(Bytes& out, size_t at, uint16_t v) const;
  void put32(Bytes& out, size_t at, uint32_t v) const;

  bool little_;
  std::vector<Entry> main_;
  std::vector<Entry> exif_;
  std::vector<Entry> gps_;
};

// The APP1 segment of a TIFF structure: "Exif\0\0" in front of it.
Bytes exifSegment(const Bytes& tiff);
// FF D8, the segment, FF D9: enough for the parser, not a picture.
Bytes jpegAround(const Bytes& segment);
// `jpeg` with `segment` inserted right behind its start-of-image marker.
Bytes spliceAfterSoi(const Bytes& jpeg, const Bytes& segment);
// An APP1 segment holding `payload` (for XMP and damaged segments), with a length field that
// counts it, or `lengthField` when given.
Bytes app1(const Bytes& payload, int lengthField = -1);

}  // namespace nox::test::exif
