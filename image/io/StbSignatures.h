#pragma once
// The file type tests of the STBI handler. They accept what stb_image's own tests of these
// types accept, so that the type found and the loader stb_image then runs agree; bytes past
// the end of the block read as zero, as they do for stb_image.

#include <cstddef>
#include <cstdint>

#include "image/io/ImageFileType.h"

namespace nox::image::io {

// The eight-byte PNG signature.
bool isPngSignature(const uint8_t* data, size_t size);
// FF, any number of further FF fill bytes, then the start-of-image marker D8.
bool isJpegSignature(const uint8_t* data, size_t size);
// "BM" and an info header size of 12, 40, 56, 108 or 124 at offset 14.
bool isBmpSignature(const uint8_t* data, size_t size);
// "8BPS": the big-endian 32-bit value 943870035.
bool isPsdSignature(const uint8_t* data, size_t size);
// A TGA header of a colour-mapped, true-colour or grey image, plain or run-length, with
// sides of at least 1 and a pixel size it can hold.
bool isTgaSignature(const uint8_t* data, size_t size);

// The channel depth a PSD header declares (8 or 16 in files stb_image reads); bytes past the
// end read as zero.
uint32_t psdDepth(const uint8_t* data, size_t size);

// What the header of a file of `type` declares, read without decoding: the size of the
// picture and the fewest bytes a whole file of that size has, at the type's best compression
// (for plain BMP, TGA and PSD data exactly what the pixels need; for run-length TGA and PSD
// what the packets found say). A header cut short declares a 1 x 1 picture that needs the
// header's length; a JPEG whose frame header is not found declares 1 x 1 in 0 bytes and is
// left to the decoder.
struct StbDeclared {
  int64_t width = 1;
  int64_t height = 1;
  uint64_t minimumBytes = 0;
  // The decoder would misbehave on the file (a JPEG scan using an undefined Huffman table).
  bool damaged = false;
};
StbDeclared declaredStbPicture(int type, const uint8_t* data, size_t size);

// The first type whose test accepts, in the order PNG, JPEG, BMP, PSD, TGA; 0 for none.
int detectStbFileType(const uint8_t* data, size_t size);

}  // namespace nox::image::io
