// CNImg: the two shapes of a picture, their GL layouts, and the tone curve that brings high
// dynamic range pixels into an 8-bit Magick image.

#include "import/NImg.h"

#include <Imath/half.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "image/edit/ResizePixels.h"
#include "import/MagickInit.h"

namespace {

using nox::image::ImageFormat;
namespace fmt = nox::image;
using GL = CImporterBase;

constexpr int kByHandler = CImporterBase::ImportableByHandler;
constexpr int kByMagick = CImporterBase::ImportableByMagick;

// One component of a high dynamic range pixel brought to a byte, in single precision as
// stored icons and previews have always been made.
unsigned char ToneMap(float v) {
  const float mapped = std::pow(std::max(v, 0.0f) * 5.5555f, 0.4545f) * 84.66f;
  return static_cast<unsigned char>(std::min(std::max(mapped, 0.0f), 255.0f));
}

// Tone maps `pixels` source pixels of `stride` components each, taking the first `channels`
// of every pixel into `out`. With more channels than the stride holds, a pixel's last
// component is the next pixel's first, as the walk always did; past the last pixel that read
// would leave the picture, so it counts as 0.
template <typename T>
void ToneMapPixels(const T* source, size_t pixels, int stride, int channels, unsigned char* out) {
  const size_t total = pixels * static_cast<size_t>(stride);
  for (size_t p = 0; p < pixels; ++p) {
    for (int c = 0; c < channels; ++c) {
      const size_t at = p * stride + c;
      out[p * channels + c] = ToneMap(at < total ? static_cast<float>(source[at]) : 0.0f);
    }
  }
}

}  // namespace

CNImg::CNImg() : isBlockCompressed(false), glFormat(GL::GL_NONE), kind(0) {}
CNImg::CNImg(const CNImg& other) = default;
CNImg& CNImg::operator=(const CNImg& other) = default;
CNImg::~CNImg() = default;

void CNImg::set(const Magick::Image& image) {
  magickImage = image;
  kind = kByMagick;
  glFormat = image.format() == "RGBA" ? GL::GL_RGBA : GL::GL_RGB;
  isBlockCompressed = false;
}

void CNImg::set(std::shared_ptr<nox::image::IImage> image) {
  noxImage = std::move(image);
  glFormat = toGLFormat();
  kind = kByHandler;
  isBlockCompressed = noxImage && fmt::isBlockCompressed(noxImage->format());
}

bool CNImg::IsNoxImage() const { return noxImage != nullptr && (kind & kByHandler) > 8193; }

Magick::Geometry CNImg::size() const {
  if (IsNoxImage()) return Magick::Geometry(noxImage->width(), noxImage->height(), 0, 0, false, false);
  return magickImage.size();
}

CNImg::GLFormat CNImg::toGLFormat() const {
  if (!IsNoxImage()) return glFormat;
  switch (noxImage->format()) {
    case fmt::FormatRGB8: return GL::GL_RGB;
    case fmt::FormatRGBA8: return GL::GL_RGBA;
    case fmt::FormatBGR8: return GL::GL_BGR;
    case fmt::FormatBGRA8: return GL::GL_BGRA;
    case fmt::FormatRGBA16: return GL::GL_RGBA16;
    case fmt::FormatRGBA32UI: return GL::GL_RGBA32UI;
    case fmt::FormatRGB16F: return GL::GL_RGB16F;
    case fmt::FormatRGBA16F: return GL::GL_RGBA16F;
    case fmt::FormatRGB32F: return GL::GL_RGB32F;
    case fmt::FormatRGBA32F: return GL::GL_RGBA32F;
    case fmt::FormatDXT1:
    case fmt::FormatDXT3:
    case fmt::FormatDXT5: return GL::GL_RGBA;
    case fmt::FormatL8: return GL::GL_LUMINANCE;
    case fmt::FormatA8: return GL::GL_ALPHA;
    case fmt::FormatLA8: return GL::GL_LUMINANCE_ALPHA;
    default: return GL::GL_NONE;
  }
}

bool CNImg::CopyNoxImage2Magick(GLFormat format, int width, int height) {
  if (!IsNoxImage()) return false;
  nox::import::EnsureMagickInitialized();
  try {
    const int channels = format == GL::GL_RGBA ? 4 : 3;
    const std::string map = channels == 4 ? "RGBA" : "RGB";
    const int srcW = static_cast<int>(noxImage->width());
    const int srcH = static_cast<int>(noxImage->height());
    const int dstW = width == -1 ? srcW : width;
    const int dstH = height == -1 ? srcH : height;
    const bool resize = dstW != srcW || dstH != srcH;
    const size_t pixels = static_cast<size_t>(srcW) * srcH;

    std::vector<unsigned char> full(pixels * channels);
    std::vector<unsigned char> reduced;
    switch (noxImage->format()) {
      case fmt::FormatRGBA16F:
        ToneMapPixels(static_cast<const half*>(noxImage->data()), pixels, 4, channels, full.data());
        break;
      case fmt::FormatRGB32F:
        ToneMapPixels(static_cast<const float*>(noxImage->data()), pixels, 3, channels,
                      full.data());
        break;
      default:
        return false;
    }
    // The reduced copy is made and read as it always was, though the full-size picture below
    // replaces it: the sequence and its failures are part of the call.
    if (resize) {
      reduced.resize(static_cast<size_t>(dstW) * dstH * channels);
      nox::image::resizePixels(reduced.data(), dstW, dstH, full.data(), srcW, srcH, fmt::FormatRGB8);
    }
    const std::vector<unsigned char>& small = resize ? reduced : full;
    const Magick::Blob blob(small.data(), small.size());
    magickImage = Magick::Image(blob, Magick::Geometry(dstW, dstH), map);
    const Magick::Geometry whole = size();
    magickImage = Magick::Image(whole.width(), whole.height(), map, Magick::CharPixel, full.data());
    return true;
  } catch (...) {
    return false;
  }
}
