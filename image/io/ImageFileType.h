#pragma once

namespace nox::image::io {

// The file type the STBI handler found, and the last argument of `saveToMemory`. Each handler
// accepts only the values it names and refuses the others with kUnsupported.
enum ImageFileType : int {
  BMP = 1,
  EXR = 3,
  HDR = 4,
  JPEG = 5,
  PNG = 6,
  PSD = 7,
  TGA = 8,
};

}  // namespace nox::image::io
