#pragma once
// The fixed parts of an NBN file: the 64-byte main header, the level size table, the palette
// and the geographic bounds block, with their byte layout, and the size arithmetic that
// every image size of the format shares.

#include <cstdint>

namespace nox::image::io {

constexpr uint32_t kNbnMagic = 0x900DF11Eu;
constexpr int kNbnVersion = 3;
constexpr int kNbnSubVersion = 4;
constexpr int kNbnHeaderSize = 64;
constexpr int kNbnTableEntries = 32;
constexpr int kNbnTableSize = 4 * kNbnTableEntries;
// Main header and level size table: where the palette, the bounds block or the levels begin.
constexpr int kNbnLeadSize = kNbnHeaderSize + kNbnTableSize;
constexpr int kNbnPaletteEntries = 256;
constexpr int kNbnPaletteSize = 4 * kNbnPaletteEntries;
constexpr int kNbnGeoBlockSize = 40;
// All fixed parts together: what a file holds beyond its levels and full-size copy at most.
constexpr int kNbnFixedPartsMax = kNbnLeadSize + kNbnPaletteSize + kNbnGeoBlockSize;
// Levels an object keeps: level 0 and up to 19 halvings.
constexpr int kNbnMaxLevels = 20;

// `pictureFormat` values.
enum ENbnPictureFormat : int {
  kNbnAlpha = 0,
  kNbnLuminance = 1,
  kNbnLuminanceAlpha = 2,
  kNbnRgb = 3,
  kNbnNoPixels = 4,
  kNbnRgba = 5,
  kNbnIndexed = 6,
};

// `packWord` values; a low byte of 1 is read and written as kNbnLz.
enum ENbnPackWord : int {
  kNbnRaw = 0,
  kNbnDxt1 = 2,
  kNbnDxt5 = 3,
  kNbnLz = 256,
  kNbnLzDxt1 = kNbnLz | kNbnDxt1,
  kNbnLzDxt5 = kNbnLz | kNbnDxt5,
};

// The main header as it lies in the file at offset 0.
struct NbnHeader {
  uint32_t magic = 0;
  int32_t version = 0;
  int32_t subVersion = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t bytesPerPixel = 0;
  int32_t packWord = 0;
  int32_t pictureFormat = 0;
  int32_t levelCount = 0;
  int32_t payloadSize = 0;
  int32_t fullImageSize = 0;
  uint16_t hasPalette = 0;
  int16_t transparentIndex = 0;
  uint16_t hasGeoBlock = 0;
  uint16_t blankFlag = 0;
};

NbnHeader decodeNbnHeader(const uint8_t bytes[kNbnHeaderSize]);
// Writes all 64 bytes, the reserved ones as zero.
void encodeNbnHeader(const NbnHeader& header, uint8_t bytes[kNbnHeaderSize]);

// The bounds block: a type code and minimum x, maximum x, minimum y, maximum y.
struct NbnGeoBlock {
  uint32_t type = 0;
  double bounds[4] = {};
};

NbnGeoBlock decodeNbnGeoBlock(const uint8_t bytes[kNbnGeoBlockSize]);
// Writes all 40 bytes, the unused ones as zero.
void encodeNbnGeoBlock(const NbnGeoBlock& block, uint8_t bytes[kNbnGeoBlockSize]);

// Bytes per pixel of a `pictureFormat`: 0 for format 4 and for values outside 0 to 6.
int nbnFormatBytes(int pictureFormat);

// width x height x bytesPerPixel x factor as the format computes it: the product wraps at 32
// bits like the signed integers of the file, passes through a 32-bit float (sizes above
// 2^24 round to what it holds) and is truncated. Files must agree with this arithmetic.
int64_t nbnImageBytes(int width, int height, int bytesPerPixel, float factor = 1.0f);

}  // namespace nox::image::io
