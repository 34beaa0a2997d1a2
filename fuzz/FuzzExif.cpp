#include "fuzz/FuzzTarget.h"
#include "image/io/exif/ExifParser.h"

// The parser's steps, without the exception the public entry makes of their result.
NOX_FUZZ_TARGET(exif) {
  nox::image::io::ExifInfo info;
  if (size <= UINT32_MAX) nox::image::io::parseExifJpeg(data, static_cast<uint32_t>(size), info);
}
