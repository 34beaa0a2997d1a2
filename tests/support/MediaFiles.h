#pragma once
// Files of every format the handlers read, made in the tests: with stb_image_write, OpenEXR,
// zlib (PNGs of depths stb_image_write does not write), by hand (PSD, RGBE) and with the NBN
// container.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "image/image/Image.h"

namespace nox::test::io {

using Bytes = std::vector<uint8_t>;

// "<code>: <message>" of the ImageHandlerException that `call` throws, or "" when it throws
// none.
std::string failureOf(const std::function<void()>& call);

Bytes toBytes(const std::string& s);
std::string toString(const Bytes& b);

struct Rgb {
  uint8_t r, g, b;
  bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};

// A width x height picture in file order (top row first) of `channels` 8-bit channels, one
// colour per quadrant (red, green over blue, white; grey channels take a weighted mean, alpha
// varies with x), so that a wrong turn or flip shows.
Bytes quadrantPicture(int width, int height, int channels);

// stb_image_write encodings of 8-bit pixels in file order.
enum class StbKind { Png, Bmp, Tga, Jpg };
Bytes stbEncode(StbKind kind, int width, int height, int channels, const Bytes& pixels);

// A PNG through zlib: `samples` in file order, rows packed as the colour type and bit depth
// want (16-bit samples big-endian); `palette` of RGB triples for colour type 3.
Bytes pngFile(int width, int height, int colourType, int bitDepth, const Bytes& samples, const Bytes& palette = {});

// An uncompressed PSD of `channels` channels (3 or 4) and `depth` 8 or 16 from interleaved
// samples in file order (16-bit samples big-endian).
Bytes psdFile(int width, int height, int channels, int depth, const Bytes& samples);

// An EXR written by OpenEXR with the data window (minX, minY) to (minX + width - 1, minY +
// height - 1), rows in file order, PIZ compression (32 rows a chunk). With `rowsWritten` below
// the height the writer stops early, as one that died would, and the file is incomplete.
Bytes exrFile(int width, int height, const std::vector<float>& rgba, int minX = 0, int minY = 0,
              int rowsWritten = -1);

// A Radiance file of `width` x `height` float triples in file order, through the RGBE
// writer: run-length scanlines (`runLength`) or flat pixels.
Bytes hdrFile(int width, int height, const std::vector<float>& rgb, bool runLength);

// An NBN file written by the container from raw level 0 pixels of `pictureFormat` (`pixels`
// may be empty for a zero picture).
Bytes nbnFile(int width, int height, int pictureFormat, int packWord, unsigned flags, const Bytes& pixels);

// The colour shown at (x, y) counted from the top left of an 8-bit image whose rows are stored
// bottom first.
Rgb shownAt(const image::IImage& image, unsigned x, unsigned y);

}  // namespace nox::test::io
