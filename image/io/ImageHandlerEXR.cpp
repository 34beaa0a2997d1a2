#include "image/io/ImageHandlerEXR.h"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfRgbaFile.h>
#include <OpenEXR/ImfThreading.h>

#include <vector>

#include "image/image/Image.h"
#include "image/io/ExrHeaderScan.h"
#include "image/io/ExrMemStreams.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerException.h"

namespace nox::image::io {
namespace {

static_assert(sizeof(Imf::Rgba) == sizeof(PixelRGBA16F), "an Rgba record is one RGBA16F pixel");

using ExrImage = Image<PixelRGBA16F>;

// The writable image, or a kCannotServe refusal. These checks stand outside the guards of the
// writers, so their codes reach the caller unchanged.
ExrImage& writableImage(IImage* image) {
  auto* exr = dynamic_cast<ExrImage*>(image);
  if (exr == nullptr || exr->format() != FormatRGBA16F)
    throw ImageHandlerException(kCannotServe, "Only 16-bits RGBA half-float data support for EXR export");
  if (exr->pixelCount() != int64_t{exr->width()} * exr->height())
    throw ImageHandlerException(kCannotServe, "Unexpected data size");
  return *exr;
}

Imf::Header outputHeader(const ExrImage& image) {
  return Imf::Header(static_cast<int>(image.width()), static_cast<int>(image.height()), 1.0f, Imath::V2f(0, 0), 1.0f,
                     Imf::INCREASING_Y, Imf::PIZ_COMPRESSION);
}

// Rows are written as they stand: the model's bottom row becomes the file's first.
void writeRows(Imf::RgbaOutputFile& file, ExrImage& image) {
  file.setFrameBuffer(static_cast<const Imf::Rgba*>(image.data()), 1, image.width());
  file.writePixels(static_cast<int>(image.height()));
}

// The library sizes its buffers by a header before it finds out that the block cannot hold
// what the header declares. A header that runs past the block, or declares a picture above
// the size limit, is therefore refused before the library opens it.
enum class HeaderCheck { Fits, CutOff, TooLarge };

HeaderCheck checkHeader(const void* data, size_t size, uint64_t maxPixels) {
  const ExrHeaderScan scan = scanExrHeader(static_cast<const uint8_t*>(data), size);
  if (!scan.magic) return HeaderCheck::Fits;  // not an EXR file: the library says so itself
  if (!scan.complete) return HeaderCheck::CutOff;
  if (!scan.dataWindow) return HeaderCheck::Fits;
  if (exrWindowExceeds(*scan.dataWindow, maxPixels)) return HeaderCheck::TooLarge;
  if (exrMinimumPixelBytes(*scan.dataWindow, scan.compression, scan.tiled) > size - scan.headerEnd)
    return HeaderCheck::CutOff;
  return HeaderCheck::Fits;
}

[[noreturn]] void notComplete() { throw ImageHandlerException(kCannotServe, "File is not complete"); }
[[noreturn]] void invalidSize() { throw ImageHandlerException(kInvalidSize, "Invalid size"); }

std::shared_ptr<IImage> decode(const std::vector<uint8_t>& bytes, uint64_t maxPixels) {
  switch (checkHeader(bytes.data(), bytes.size(), maxPixels)) {
    case HeaderCheck::CutOff: notComplete();
    case HeaderCheck::TooLarge: invalidSize();
    case HeaderCheck::Fits: break;
  }
  MemIStream stream(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  Imf::RgbaInputFile file(stream, Imf::globalThreadCount());
  if (!file.isComplete()) notComplete();

  const Imath::Box2i window = file.header().dataWindow();
  const int64_t width = int64_t{window.max.x} - window.min.x + 1;
  const int64_t height = int64_t{window.max.y} - window.min.y + 1;
  if (width < 1 || height < 1 || static_cast<uint64_t>(width * height) > maxPixels) invalidSize();

  std::vector<Imf::Rgba> rows(static_cast<size_t>(width * height));
  // The library addresses pixel (x, y) at base + x + y * width, so the base stands before the
  // array by the window's origin. Computed on addresses: only the library's sums land inside.
  const int64_t origin = int64_t{window.min.x} + int64_t{window.min.y} * width;
  const auto base = reinterpret_cast<uintptr_t>(rows.data()) - static_cast<uintptr_t>(origin * int64_t{sizeof(Imf::Rgba)});
  file.setFrameBuffer(reinterpret_cast<Imf::Rgba*>(base), 1, static_cast<size_t>(width));
  file.readPixels(window.min.y, window.max.y);

  std::vector<PixelRGBA16F> pixels(rows.size());
  for (int64_t y = 0; y < height; ++y) {
    const Imf::Rgba* from = &rows[static_cast<size_t>((height - 1 - y) * width)];
    PixelRGBA16F* to = &pixels[static_cast<size_t>(y * width)];
    for (int64_t x = 0; x < width; ++x) to[x] = PixelRGBA16F{{from[x].r, from[x].g, from[x].b, from[x].a}};
  }
  return makeImage<PixelRGBA16F>(std::move(pixels), static_cast<unsigned>(width), static_cast<unsigned>(height),
                                 FormatRGBA16F);
}

}  // namespace

bool ImageHandlerEXR::canLoadExtension(const std::string& extension) { return extension == "exr"; }

bool ImageHandlerEXR::canLoadMemory(const void* data, int32_t size) {
  const uint64_t length = data != nullptr && size > 0 ? static_cast<uint64_t>(size) : 0;
  if (checkHeader(data, length, kMaxImagePixels) != HeaderCheck::Fits) return false;
  try {
    MemIStream stream(static_cast<const char*>(data), length);
    Imf::RgbaInputFile file(stream, Imf::globalThreadCount());
    return file.isComplete();
  } catch (...) {
    return false;
  }
}

std::shared_ptr<IImage> ImageHandlerEXR::load() {
  try {
    return decode(bytes(), maxPixels());
  } catch (const ImageHandlerException&) {
    throw;
  } catch (const std::exception& e) {
    throw ImageHandlerException(kCannotServe, e.what());
  } catch (...) {
    throw ImageHandlerException(kCannotServe, "Unknown error");
  }
}

void ImageHandlerEXR::save(const std::string& fileName, IImage* image) {
  if (image == nullptr) return;
  ExrImage& exr = writableImage(image);
  try {
    Imf::RgbaOutputFile file(fileName.c_str(), outputHeader(exr), Imf::WRITE_RGBA, Imf::globalThreadCount());
    writeRows(file, exr);
  } catch (const std::exception& e) {
    throw ImageHandlerException(kInputOutput, e.what());
  } catch (...) {
    throw ImageHandlerException(kCannotServe, "Unknown error");
  }
}

uint32_t ImageHandlerEXR::saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) {
  if (image == nullptr) return 0;
  if (type != EXR) throw ImageHandlerException(kUnsupported, "Unsupported format");
  ExrImage& exr = writableImage(image);
  try {
    MemOStream stream(static_cast<char*>(buffer), buffer != nullptr && size > 0 ? static_cast<uint64_t>(size) : 0);
    Imf::RgbaOutputFile file(stream, outputHeader(exr), Imf::WRITE_RGBA, Imf::globalThreadCount());
    writeRows(file, exr);
    // Taken before the file object goes: its destructor seeks back to patch the offset table.
    return static_cast<uint32_t>(stream.tellp());
  } catch (const Iex::IoExc&) {
    throw ImageHandlerException(kOutputTooSmall, kInsufficientMemoryMessage);
  } catch (const std::exception& e) {
    throw ImageHandlerException(kInputOutput, e.what());
  } catch (...) {
    throw ImageHandlerException(kCannotServe, "Unknown error");
  }
}

std::string ImageHandlerEXR::loaderName() { return "nox_image EXR Loader"; }

}  // namespace nox::image::io
