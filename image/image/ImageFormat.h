#pragma once
// The image format word: one unsigned 32-bit integer that tells channels, component size,
// integer or float, and block compression. Handlers, importers, the resizer and the GL
// mapping all share it and compare it as a whole word.

#include <cstdint>

namespace nox::image {

using ImageFormat = uint32_t;

// The words in use. Words without an image class here are only mapped to GL constants.
constexpr ImageFormat FormatRGB8 = 167;
constexpr ImageFormat FormatRGBA8 = 175;
constexpr ImageFormat FormatBGR8 = 183;
constexpr ImageFormat FormatBGRA8 = 191;
constexpr ImageFormat FormatRGB16 = 295;
constexpr ImageFormat FormatRGBA16 = 303;
constexpr ImageFormat FormatL8 = 524449;
constexpr ImageFormat FormatL16 = 524577;
constexpr ImageFormat FormatLA8 = 1573027;
constexpr ImageFormat FormatLA16 = 1573155;
constexpr ImageFormat FormatA8 = 1048744;
constexpr ImageFormat FormatRGBA32UI = 1071;
constexpr ImageFormat FormatRGB16F = 2311;
constexpr ImageFormat FormatRGBA16F = 2319;
constexpr ImageFormat FormatRGB32F = 3079;
constexpr ImageFormat FormatRGBA32F = 3087;
constexpr ImageFormat FormatDXT1 = 266255;
constexpr ImageFormat FormatDXT3 = 270351;
constexpr ImageFormat FormatDXT5 = 278543;

// True for exactly FormatDXT1, FormatDXT3 and FormatDXT5. The word 274447 (DXT kind 3)
// fits the same bit pattern but names no format, so it is kept out on purpose.
constexpr bool isBlockCompressed(ImageFormat word) {
  return ((word - FormatDXT1) & ~12288u) == 0 && word != 274447u;
}

// Puts a word together from a channel count (1 to 4) and a component depth (8, 16 or 32).
// Any other depth gives a word with no size bit (pixel size 0); any other count adds no
// channel bits. Never fails.
ImageFormat makeFormat(unsigned channels, int depth);

// Number of set channel bits (0-3 and 21-23): the channel count the resizer and the PNG
// writer use.
unsigned formatChannels(ImageFormat format);

// Bytes of one pixel; 0 for the block-compressed words and for words without a size bit.
unsigned formatPixelSize(ImageFormat format);

// Bytes of a whole width x height image: a 32-bit value (products wrap at 32 bits) returned
// in 64 bits. Block-compressed words count 4x4 blocks of 8 (DXT1) or 16 bytes; any other
// word with the block bit set gives 0.
uint64_t formatImageSize(int width, int height, ImageFormat format);

}  // namespace nox::image
