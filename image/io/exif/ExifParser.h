#pragma once
// Reads the EXIF block of a JPEG file held in memory: finds the APP1 segment by a plain byte
// search, walks the TIFF structure in it (IFD 0, the EXIF IFD and the GPS IFD) and fills an
// ExifInfo. Every read stays inside the block, however damaged it is.

#include <cstdint>
#include <memory>
#include <string>

#include "image/io/exif/ExifInfo.h"

namespace nox::image::io {

// Results of the parsing steps.
enum EExifResult : int {
  kExifParsed = 0,
  kExifNotJpeg = 1982,
  kExifNoData = 1983,
  kExifUnknownByteOrder = 1984,
  kExifCorrupt = 1985,
};

class ExifParser {
 public:
  ExifParser();

  // Parses the JPEG file of `length` bytes at `data` (not kept). A file without EXIF data
  // parses with an empty record. Throws ExifParserException "Not a valid JPEG file" for a
  // block that does not start with FF D8 or has no FF D9 end marker, "Unknown byte alignment"
  // and "EXIF data is corrupt" for a damaged block.
  void parse(const uint8_t* data, uint32_t length);
  // Reads the whole file, then as `parse`. Throws ExifParserException "File could not be
  // read" when it cannot be read.
  void parseFile(const std::string& fileName);

  // True once a parse has finished without throwing.
  bool parsed() const { return parsed_; }
  const ExifInfo& info() const { return *info_; }
  // The orientation as stored when it is 0, 1, 3, 6 or 8; 9 for every other value, so that
  // the mirrored and reserved orientations read as one.
  uint16_t orientation() const;

 private:
  std::unique_ptr<ExifInfo> info_;
  bool parsed_ = false;
};

// The steps behind `parse`, for callers that want the result code instead of an exception:
// finds the APP1 segment in the JPEG block and parses it into `info` (cleared first unless
// the block is no JPEG).
EExifResult parseExifJpeg(const uint8_t* data, uint32_t length, ExifInfo& info);
// Parses an APP1 segment body ("Exif\0\0" and the TIFF structure) of `length` bytes.
EExifResult parseExifSegment(const uint8_t* data, uint32_t length, ExifInfo& info);

}  // namespace nox::image::io
