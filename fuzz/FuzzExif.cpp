#include "fuzz/FuzzTarget.h"
#include "image/io/exif/ExifParser.h"
#include "image/io/exif/ExifParserException.h"

NOX_FUZZ_TARGET(exif) {
  if (size > UINT32_MAX) return;
  try {
    nox::image::io::ExifParser().parse(data, static_cast<uint32_t>(size));
  } catch (const nox::image::io::ExifParserException&) {
  }
}
