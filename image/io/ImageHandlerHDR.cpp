#include "image/io/ImageHandlerHDR.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "image/image/Image.h"
#include "image/io/FMemOpen.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/Rgbe.h"

namespace nox::image::io {
namespace {

// Pixels below which the buffer costs too little to be worth refusing early (768 KiB).
constexpr int64_t kSmallPicture = 1 << 16;

static_assert(sizeof(PixelRGB32F) == 3 * sizeof(float), "float pixels are packed triples");

// Closes the stream on every way out; for a temporary file that also removes it.
using StreamGuard = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

StreamGuard openCopy(const void* data, int64_t size) {
  StreamGuard stream(nox_fmemopen(data, size), &std::fclose);
  if (!stream) throw ImageHandlerException(kInputOutput, "Could not open file for writing");
  return stream;
}

void writeHeader(std::FILE* stream, const IImage& image) {
  if (rgbe_write_header(stream, static_cast<int>(image.width()), static_cast<int>(image.height()), nullptr) == -1)
    throw ImageHandlerException(kInputOutput, "Failed to write header");
}

// Writes `image` in file order (top row first) and returns the stream position afterwards.
uint32_t writeImage(std::FILE* stream, IImage* image) {
  if (image->format() != FormatRGB32F && image->format() != FormatRGBA8)
    throw ImageHandlerException(kUnsupported, "Unsupported format");
  if (auto* floats = dynamic_cast<Image<PixelRGB32F>*>(image)) {
    const int64_t count = int64_t{floats->width()} * floats->height();
    if (floats->pixelCount() < count) throw ImageHandlerException(kCannotServe, "Unexpected data size");
    Image<PixelRGB32F> turned(*floats);
    turned.flip(edit::Vertical);
    writeHeader(stream, turned);
    if (rgbe_write_pixels(stream, static_cast<const float*>(turned.data()), count) == -1)
      throw ImageHandlerException(kInputOutput, "Failed to write data");
  } else if (auto* encoded = dynamic_cast<Image<PixelRGBA8>*>(image)) {
    Image<PixelRGBA8> turned(*encoded);
    turned.flip(edit::Vertical);
    writeHeader(stream, turned);
    const auto size = static_cast<size_t>(turned.pixelCount()) * sizeof(PixelRGBA8);
    if (size != 0 && std::fwrite(turned.data(), size, 1, stream) != 1)
      throw ImageHandlerException(kInputOutput, "Failed to write data");
  }
  return static_cast<uint32_t>(std::ftell(stream));
}

}  // namespace

bool ImageHandlerHDR::canLoadExtension(const std::string& extension) { return extension == "hdr"; }

bool ImageHandlerHDR::canLoadMemory(const void* data, int32_t size) {
  StreamGuard stream(nox_fmemopen(data, size), &std::fclose);
  if (!stream) return false;
  int width = 0;
  int height = 0;
  rgbeHeaderInfo info;
  return rgbe_read_header(stream.get(), &width, &height, &info) != -1;
}

std::shared_ptr<IImage> ImageHandlerHDR::load() {
  StreamGuard stream = openCopy(bytes().data(), static_cast<int64_t>(bytes().size()));
  int width = 0;
  int height = 0;
  rgbeHeaderInfo info;
  if (rgbe_read_header(stream.get(), &width, &height, &info) == -1)
    throw ImageHandlerException(kInputOutput, "Failed to read header");
  const long headerEnd = std::ftell(stream.get());
  const uint64_t available = headerEnd >= 0 ? bytes().size() - std::min<uint64_t>(headerEnd, bytes().size()) : 0;
  // A small picture is left to the pixel reader, which names a damaged file more precisely;
  // a large one is refused here when its bytes cannot hold it.
  const bool small = width > 0 && height > 0 && int64_t{width} * height <= kSmallPicture;
  checkDeclaredSize(width, height, small ? 0 : rgbe_min_pixel_bytes(width, height), available);

  std::vector<PixelRGB32F> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
  if (rgbe_read_pixels_rle(stream.get(), reinterpret_cast<float*>(pixels.data()), width, height) == -1)
    throw ImageHandlerException(kInputOutput, "Failed to read pixel data");
  auto image = makeImage<PixelRGB32F>(std::move(pixels), static_cast<unsigned>(width), static_cast<unsigned>(height),
                                      FormatRGB32F);
  image->flip(edit::Vertical);
  return image;
}

void ImageHandlerHDR::save(const std::string& fileName, IImage* image) {
  if (image == nullptr) return;
  StreamGuard stream(std::fopen(fileName.c_str(), "wb"), &std::fclose);
  if (!stream) throw ImageHandlerException(kInputOutput, "Could not open file for writing");
  writeImage(stream.get(), image);
}

uint32_t ImageHandlerHDR::saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) {
  if (image == nullptr) return 0;
  if (type != HDR) throw ImageHandlerException(kUnsupported, "Unsupported format");
  StreamGuard stream = openCopy(buffer, size);
  return writeImage(stream.get(), image);
}

std::string ImageHandlerHDR::loaderName() { return "nox_image HDR Loader"; }

}  // namespace nox::image::io
