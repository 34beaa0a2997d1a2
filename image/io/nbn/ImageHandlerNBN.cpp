#include "image/io/nbn/ImageHandlerNBN.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "image/image/Image.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/nbn/MemNoxImage.h"

namespace nox::image::io {
namespace {

[[noreturn]] void invalidSize() { throw ImageHandlerException(kInvalidSize, "Invalid size"); }

[[noreturn]] void unsupported() { throw ImageHandlerException(kUnsupported, "Unsupported format"); }

ImageFormat channelWord(int pictureFormat) {
  switch (pictureFormat) {
    case kNbnAlpha: return 0x100000;
    case kNbnLuminance: return 0x80000;
    case kNbnLuminanceAlpha: return 0x180000;
    case kNbnRgb: return 7;
    case kNbnRgba: return 15;
    default:
      throw ImageHandlerException(kUnsupported, "Unsupported format: " + std::to_string(pictureFormat));
  }
}

// A low byte of 1 never arrives here (the reader makes it kNbnLz), but it means raw pixels too.
ImageFormat packingWord(int packWord) {
  switch (packWord) {
    case kNbnRaw:
    case 1: return 160;
    case kNbnDxt1: return 266240;
    case kNbnDxt5: return 278528;
    default: unsupported();
  }
}

template <class P>
std::shared_ptr<IImage> levelZero(const CMemNoxImage& nbn, ImageFormat word) {
  if (int64_t{nbn.width()} * nbn.height() > nbn.max_pixels()) invalidSize();
  const auto width = static_cast<unsigned>(nbn.width());
  const auto height = static_cast<unsigned>(nbn.height());
  const uint64_t size = formatImageSize(nbn.width(), nbn.height(), word);
  const uint64_t available = nbn.pixels() != nullptr ? static_cast<uint64_t>(std::max<int64_t>(nbn.capacity(), 0)) : 0;
  if (size <= available) return makeImage<P>(nbn.pixels(), width, height, word);
  // A DXT picture smaller than a block counts a whole 4x4 block and needs more bytes than the
  // container laid out for it; the bytes beyond its buffer read as zero.
  std::vector<unsigned char> padded(static_cast<size_t>(size), 0);
  if (available > 0) std::memcpy(padded.data(), nbn.pixels(), static_cast<size_t>(available));
  return makeImage<P>(padded.data(), width, height, word);
}

}  // namespace

bool ImageHandlerNBN::canLoadExtension(const std::string& extension) { return extension == "nbn"; }

bool ImageHandlerNBN::canLoadMemory(const void*, int32_t) { return false; }

std::shared_ptr<IImage> ImageHandlerNBN::load() {
  CMemNoxImage nbn;
  nbn.set_max_pixels(static_cast<int64_t>(maxPixels()));
  if (!nbn.load_from_memory(bytes().data(), static_cast<uint32_t>(bytes().size()), true)) {
    if (int64_t{nbn.width()} * nbn.height() > nbn.max_pixels()) invalidSize();
    throw ImageHandlerException(kInputOutput, "File could not be read");
  }
  const ImageFormat word = channelWord(nbn.picture_format()) | packingWord(nbn.pack_word());
  switch (word) {
    case FormatRGB8: return levelZero<PixelRGB8>(nbn, word);
    case FormatRGBA8: return levelZero<PixelRGBA8>(nbn, word);
    case FormatDXT1: return levelZero<PixelDXT1>(nbn, word);
    case FormatDXT3:
    case FormatDXT5: return levelZero<PixelDXT3DXT5>(nbn, word);
    default: unsupported();
  }
}

void ImageHandlerNBN::save(const std::string&, IImage*) { throw ImageHandlerException(kCannotServe, "Unimplemented"); }

uint32_t ImageHandlerNBN::saveToMemory(void*, int32_t, IImage*, int32_t) {
  throw ImageHandlerException(kCannotServe, "Unimplemented");
}

std::string ImageHandlerNBN::loaderName() { return "nox_image NBN Loader"; }

}  // namespace nox::image::io
