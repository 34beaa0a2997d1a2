#include "image/io/ImageHandlerSTBI.h"

#include <stb_image.h>
#include <stb_image_write.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

#include "image/image/Image.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/StbSignatures.h"
#include "image/io/exif/ExifParser.h"
#include "image/io/exif/ExifParserException.h"

// Exported by the stb_image_write library but not declared by its header.
extern "C" unsigned char* stbi_write_png_to_mem(const unsigned char* pixels, int stride_bytes, int x, int y, int n,
                                                int* out_len);

namespace nox::image::io {
namespace {

bool oneOf(ImageFormat word, std::initializer_list<ImageFormat> accepted) {
  for (ImageFormat a : accepted) {
    if (word == a) return true;
  }
  return false;
}

// The words each file type may yield.
bool typeAllows(int type, ImageFormat word) {
  switch (type) {
    case BMP:
    case TGA: return oneOf(word, {FormatRGB8, FormatRGBA8});
    case JPEG: return word == FormatRGB8;
    case PNG:
      return oneOf(word, {FormatRGB8, FormatRGBA8, FormatRGB16, FormatRGBA16, FormatL8, FormatL16, FormatLA8,
                          FormatLA16});
    case PSD: return oneOf(word, {FormatRGB8, FormatRGBA8, FormatRGB16, FormatRGBA16});
    default: return false;
  }
}

// The image of `word` with a copy of the decoded pixels; only called for words typeAllows.
std::shared_ptr<IImage> imageOfWord(ImageFormat word, const unsigned char* pixels, unsigned width, unsigned height) {
  switch (word) {
    case FormatRGB8: return makeImage<PixelRGB8>(pixels, width, height, word);
    case FormatRGBA8: return makeImage<PixelRGBA8>(pixels, width, height, word);
    case FormatRGB16: return makeImage<PixelRGB16>(pixels, width, height, word);
    case FormatRGBA16: return makeImage<PixelRGBA16>(pixels, width, height, word);
    case FormatL8: return makeImage<PixelL8>(pixels, width, height, word);
    case FormatL16: return makeImage<PixelL16>(pixels, width, height, word);
    case FormatLA8: return makeImage<PixelLA8>(pixels, width, height, word);
    default: return makeImage<PixelLA16>(pixels, width, height, word);
  }
}

void turnByExif(IImage& image, const std::vector<uint8_t>& bytes) {
  ExifParser parser;
  try {
    parser.parse(bytes.data(), static_cast<uint32_t>(bytes.size()));
  } catch (const ExifParserException&) {
    throw ImageHandlerException(kInputOutput, "Failed to read EXIF information");
  }
  switch (parser.orientation()) {
    case 3: image.rotate(edit::Clockwise180); break;
    case 6: image.rotate(edit::Clockwise90); break;
    case 8: image.rotate(edit::Clockwise270); break;
    default: break;  // upright, unknown, or mirrored: left as it is
  }
}

// The channel count stb_image_write is given for `image`, after the checks that keep the
// writer inside the pixel storage: plain pixels of 1 to 4 channels, width x height of them.
int writableChannels(IImage& image) {
  const unsigned channels = formatChannels(image.format());
  if (isBlockCompressed(image.format()) || channels < 1 || channels > 4)
    throw ImageHandlerException(kUnsupported, "Unsupported format");
  if (image.pixelCount() < int64_t{image.width()} * image.height())
    throw ImageHandlerException(kCannotServe, "Unexpected data size");
  return static_cast<int>(channels);
}

}  // namespace

bool ImageHandlerSTBI::canLoadExtension(const std::string& extension) {
  for (const char* accepted : {"png", "jpg", "jpeg", "bmp", "psd", "tga"}) {
    if (extension == accepted) return true;
  }
  return false;
}

bool ImageHandlerSTBI::canLoadMemory(const void* data, int32_t size) {
  return detectStbFileType(static_cast<const uint8_t*>(data), size > 0 ? static_cast<size_t>(size) : 0) != 0;
}

std::shared_ptr<IImage> ImageHandlerSTBI::load() {
  const uint8_t* data = bytes().data();
  const int length = static_cast<int>(std::min<size_t>(bytes().size(), INT_MAX));
  const int type = detectStbFileType(data, static_cast<size_t>(length));
  if (type == 0) throw ImageHandlerException(kUnsupported, "Unsupported format");

  // stb_image fills what a file lacks with zeros and allocates from the header alone: a file
  // that cannot hold what it declares is refused before decoding.
  const StbDeclared declared = declaredStbPicture(type, data, static_cast<size_t>(length));
  if (declared.damaged) throw ImageHandlerException(kCannotServe, "bad huffman code");
  checkDeclaredSize(declared.width, declared.height, declared.minimumBytes, static_cast<uint64_t>(length));

  const int requested = forceRgba() ? 4 : 0;
  int width = 0;
  int height = 0;
  int channels = 0;
  int bits = 8;
  // stb_image tries its loaders in the order JPEG, PNG, BMP, PSD, TGA; only PNG and PSD can
  // hold 16 bits, and the 16-bit call keeps them. The depth of a PSD is read here: stb_image's
  // own 16-bit test reads it from the wrong place of a PSD header.
  const bool sixteenBits = (type == PNG && stbi_is_16_bit_from_memory(data, length)) ||
                           (type == PSD && psdDepth(data, static_cast<size_t>(length)) == 16);
  std::unique_ptr<void, decltype(&stbi_image_free)> pixels(nullptr, &stbi_image_free);
  if (sixteenBits) {
    bits = 16;
    pixels.reset(stbi_load_16_from_memory(data, length, &width, &height, &channels, requested));
  } else {
    pixels.reset(stbi_load_from_memory(data, length, &width, &height, &channels, requested));
  }
  if (requested != 0) channels = requested;
  if (!pixels) {
    const char* reason = stbi_failure_reason();
    throw ImageHandlerException(kCannotServe, reason != nullptr ? reason : "Unknown error");
  }

  const ImageFormat word = makeFormat(static_cast<unsigned>(channels), bits);
  if (!typeAllows(type, word)) throw ImageHandlerException(kUnsupported, "Unsupported format");
  std::shared_ptr<IImage> image = imageOfWord(word, static_cast<const unsigned char*>(pixels.get()),
                                              static_cast<unsigned>(width), static_cast<unsigned>(height));
  if (type == JPEG && applyExifOrientation()) turnByExif(*image, bytes());
  image->flip(edit::Vertical);
  return image;
}

void ImageHandlerSTBI::save(const std::string& fileName, IImage* image) {
  if (image == nullptr) return;
  const std::string extension = fileExtension(fileName);
  if (extension != "png" && extension != "bmp" && extension != "tga")
    throw ImageHandlerException(kUnsupported, "Unsupported format");
  stbi_flip_vertically_on_write(1);
  const int channels = writableChannels(*image);
  const int width = static_cast<int>(image->width());
  const int height = static_cast<int>(image->height());
  const char* name = fileName.c_str();
  int written = 0;
  if (extension == "png") {
    written = stbi_write_png(name, width, height, channels, image->data(), 0);
  } else if (extension == "bmp") {
    written = stbi_write_bmp(name, width, height, channels, image->data());
  } else {
    written = stbi_write_tga(name, width, height, channels, image->data());
  }
  if (written == 0) throw ImageHandlerException(kInputOutput, "Failed to export PNG");
}

uint32_t ImageHandlerSTBI::saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) {
  if (image == nullptr) return 0;
  stbi_flip_vertically_on_write(1);
  if (type != PNG) throw ImageHandlerException(kUnsupported, "Unsupported format");
  const int channels = writableChannels(*image);
  int length = 0;
  std::unique_ptr<unsigned char, decltype(&std::free)> png(
      stbi_write_png_to_mem(static_cast<const unsigned char*>(image->data()), 0, static_cast<int>(image->width()),
                            static_cast<int>(image->height()), channels, &length),
      &std::free);
  if (!png) throw ImageHandlerException(kOutputTooSmall, "Failed to write to memory");
  if (buffer == nullptr || size < length) throw ImageHandlerException(kOutputTooSmall, kInsufficientMemoryMessage);
  std::memcpy(buffer, png.get(), static_cast<size_t>(length));
  return static_cast<uint32_t>(length);
}

std::string ImageHandlerSTBI::loaderName() { return "nox_image STBI Loader"; }

}  // namespace nox::image::io
