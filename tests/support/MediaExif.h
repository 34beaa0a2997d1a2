#pragma once
// EXIF blocks built byte by byte for the tests: a TIFF structure with IFD 0, an EXIF IFD and
// a GPS IFD, wrapped in an APP1 segment, and JPEG streams that carry it.

#include <cstdint>
#include <string>
#include <vector>

namespace nox::test::exif {

using Bytes = std::vector<uint8_t>;

enum Ifd { kMain, kExif, kGps };

// One entry: its value as numbers of its type (a rational is two of them) or, for type 2, as
// text that is stored with its zero byte. The count follows from the value.
struct Entry {
  Ifd ifd;
  uint16_t tag;
  uint16_t type;
  std::vector<uint32_t> values;
  std::string text = "";
};

inline Entry orientation(uint16_t value) { return {kMain, 274, 3, {value}}; }

// "II"/"MM", 42, the offset 8 of IFD 0, the IFDs and behind them the values of more than four
// bytes. The EXIF and GPS IFDs are linked from IFD 0 when they hold an entry.
Bytes tiff(bool littleEndian, const std::vector<Entry>& entries);
// FF E1, the big-endian segment length, "Exif\0\0" and the TIFF structure.
Bytes exifSegment(const Bytes& tiff);
// An APP1 segment holding `payload` (for XMP and damaged segments), with a length field that
// counts it, or `lengthField` when given.
Bytes app1(const Bytes& payload, int lengthField = -1);
// FF D8, the segment, FF D9: enough for the parser, not a picture.
Bytes jpegAround(const Bytes& segment);
// `jpeg` with `segment` inserted right behind its start-of-image marker.
Bytes spliceAfterSoi(const Bytes& jpeg, const Bytes& segment);

}  // namespace nox::test::exif
