#pragma once

#include <stdexcept>

namespace nox::image::io {

// Thrown by the EXIF parser with "Not a valid JPEG file", "Unknown byte alignment", "EXIF data
// is corrupt" or, from the file entry, "File could not be read".
class ExifParserException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nox::image::io
