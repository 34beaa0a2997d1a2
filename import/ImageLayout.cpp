// CImageImporter: the layout a picture is stored in. The GL layout follows from the Magick
// image type (or the model format), compression forces RGBA aligned to 4 by 4 blocks, and
// the pixels are exported into the importer's reusable buffer.

#include <Magick++.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "import/ImageImporter.h"

unsigned int CImageImporter::getImageFormatGL() const { return getTypeSafeImageFormat(); }

CImporterBase::GLFormat CImageImporter::getTypeSafeImageFormat() const {
  if (forcedFormat != GL_NONE) return forcedFormat;
  const Magick::Image& image = picture.magickImage;
  const bool matte = image.matte();
  switch (image.type()) {
    case Magick::BilevelType:
      if (matte) return IsBilevelMattAsRGBA() ? GL_LUMINANCE_ALPHA : GL_ALPHA;
      return GL_LUMINANCE;
    case Magick::GrayscaleType:
      if (!matte) return GL_LUMINANCE;
      // The answer is cached in alphaOnlyState, which a const query may fill.
      return const_cast<CImageImporter*>(this)->IsAlphaOnly() ? GL_ALPHA : GL_LUMINANCE_ALPHA;
    case Magick::GrayscaleMatteType:
      return GL_LUMINANCE_ALPHA;
    case Magick::PaletteType:
    case Magick::TrueColorType:
    case Magick::ColorSeparationType:
      return matte ? GL_RGBA : GL_RGB;
    case Magick::PaletteMatteType:
    case Magick::TrueColorMatteType:
    case Magick::ColorSeparationMatteType:
      return GL_RGBA;
    default:
      return GL_NONE;
  }
}

const char* CImageImporter::formatName(GLFormat format, bool rawFormatName) const {
  switch (format) {
    case GL_ALPHA:
      return rawFormatName ? "RGBA" : "A";
    case GL_RGBA:
      return "RGBA";
    case GL_LUMINANCE:
      return rawFormatName ? "RGB" : "I";
    case GL_LUMINANCE_ALPHA:
      return rawFormatName ? "RGB" : "IA";
    default:
      return "RGB";
  }
}

int CImageImporter::setupCompressionFormat() {
  workFormat = sourceFormat = getTypeSafeImageFormat();
  if (mode() == CompressionAuto) {
    const bool alpha = ((workFormat - 6406u) & ~6u) == 0 && workFormat != 6412u;
    SetCompressed(alpha ? CompressionDXT5 : CompressionDXT1);
  }
  activeCompression = mode();
  return static_cast<int>(activeCompression);
}

bool CImageImporter::isAlphaSupported() const { return mode() != CompressionDXT1; }

bool CImageImporter::dualIcon() const {
  switch (getTypeSafeImageFormat()) {
    case GL_RGBA:
    case GL_LUMINANCE_ALPHA:
    case GL_RGBA16:
    case GL_RGBA32F:
    case GL_RGBA16F:
      break;
    default:
      return false;
  }
  // Resolving the mode here is what the icons have always done; it fixes workFormat,
  // sourceFormat and an automatic mode as a side effect.
  const_cast<CImageImporter*>(this)->setupCompressionFormat();
  return activeCompression != CompressionDXT1;
}

bool CImageImporter::IsAlphaOnly() {
  if (alphaOnlyState != -1) return alphaOnlyState == 1;
  bool alphaOnly = false;
  const Magick::Image& image = picture.magickImage;
  const unsigned int width = image.columns();
  const unsigned int height = image.rows();
  if (image.matte() && width > 0) {
    // Only the last column decides: a column stops at its first pixel darker than 254, and
    // the answer is whether the walk ended with the last column run through.
    const Magick::PixelPacket* column = image.getConstPixels(width - 1, 0, 1, height);
    alphaOnly = column != nullptr;
    for (unsigned int y = 0; alphaOnly && y < height; ++y) {
      const Magick::PixelPacket& p = column[y];
      alphaOnly = p.red >= 254 && p.green >= 254 && p.blue >= 254;
    }
  }
  alphaOnlyState = alphaOnly ? 1 : 0;
  return alphaOnly;
}

bool CImageImporter::allocBuffer(unsigned int size) {
  if (size <= bufferSize && pixelBuffer != nullptr) return true;
  pixelOwner.reset();
  pixelBuffer = nullptr;
  bufferSize = size;
  if (size == 0) return true;
  auto* bytes = static_cast<unsigned char*>(std::malloc(size));
  if (bytes == nullptr) return false;
  pixelOwner.reset(bytes, std::free);
  pixelBuffer = bytes;
  return true;
}

bool CImageImporter::scaleImage(unsigned int width, unsigned int height) {
  Magick::Image& image = picture.magickImage;
  MagickLib::ExceptionInfo exception;
  MagickLib::GetExceptionInfo(&exception);
  MagickLib::Image* scaled = MagickLib::ScaleImage(image.constImage(), width, height, &exception);
  if (scaled != nullptr) image.replaceImage(scaled);
  MagickLib::DestroyExceptionInfo(&exception);
  return true;
}

void CImageImporter::setRawLayout(Magick::Image& image, GLFormat format) {
  switch (format) {
    case GL_RGB:
    case GL_LUMINANCE:
      image.magick("BGR");
      image.matte(false);
      break;
    case GL_RGBA:
    case GL_LUMINANCE_ALPHA:
      image.magick("BGRA");
      image.matte(true);
      break;
    default:
      break;
  }
}

Magick::Image& CImageImporter::dataSource(bool* fromKept) {
  bool kept = false;
  try {
    kept = keptImage.columns() != 0 && keptImage.rows() != 0;
  } catch (...) {
    kept = false;
  }
  if (fromKept != nullptr) *fromKept = kept;
  return kept ? keptImage : picture.magickImage;
}

size_t CImageImporter::exportPixelSize(GLFormat format) const {
  // A stored file may carry a layout number whose pixel size is below what its map exports
  // (GL_COLOR_INDEX exports as RGB); buffers take the larger, so no export runs past them.
  return std::max<size_t>(sizePixel(format), std::strlen(formatName(format, false)));
}

unsigned int CImageImporter::exportPixels(Magick::Image& image, unsigned int width,
                                          unsigned int height, GLFormat format) {
  const size_t needed = exportPixelSize(format) * width * height;
  if (needed > 0xFFFFFFFFu || !allocBuffer(static_cast<unsigned int>(needed))) {
    throw std::bad_alloc();
  }
  image.write(0, 0, width, height, formatName(format, false), Magick::CharPixel, pixelBuffer);
  return static_cast<unsigned int>(sizePixel(format)) * width * height;
}

bool CImageImporter::prepareImage() {
  bool kept = false;
  bool converted = false;
  Magick::Image& image = picture.magickImage;
  const auto keep = [&] {
    if (!kept) {
      keptImage = image;
      kept = true;
    }
  };
  try {
    if (setupCompressionFormat() != 0) {
      keep();
    } else {
      keptImage = Magick::Image();
    }
  } catch (...) {
    return false;
  }
  if (picture.IsNoxImage() && !picture.CopyNoxImage2Magick(GL_RGBA, -1, -1)) return false;

  const auto convert = [&](Magick::ImageType type, const char* magick, bool matte, GLFormat format) {
    keep();
    image.modifyImage();
    image.type(type);
    image.magick(magick);
    image.matte(matte);
    workFormat = format;
    image.modifyImage();
    converted = true;
  };
  const uint32_t compression = mode();
  if (compression != 0) {
    if (workFormat != GL_RGBA) convert(Magick::TrueColorMatteType, "BGRA", true, GL_RGBA);
  } else if (isAlphaSupported()) {
    if (workFormat == GL_NONE) workFormat = GL_RGB;
  } else {
    convert(Magick::TrueColorType, "BGR", false, GL_RGB);
  }
  if (picture.IsNoxImage() && compression == 0) workFormat = picture.toGLFormat();

  if (!converted && image.magick() == "TIFF") {
    keep();
    image.modifyImage();
    if (sourceFormat == GL_RGBA || sourceFormat == GL_LUMINANCE_ALPHA) {
      setRawLayout(image, GL_RGBA);
      if (workFormat == GL_RGBA) image.type(Magick::TrueColorMatteType);
    } else if (sourceFormat == GL_RGB || sourceFormat == GL_LUMINANCE) {
      setRawLayout(image, GL_RGB);
      if (workFormat == GL_RGB) image.type(Magick::TrueColorType);
    }
    image.modifyImage();
  }

  const unsigned int notedWidth = image.columns();
  const unsigned int notedHeight = image.rows();
  if ((compression == CompressionDXT1 || compression == CompressionDXT5) &&
      (notedWidth % 4 != 0 || notedHeight % 4 != 0)) {
    keep();
    const Magick::Color black(0, 0, 0);
    image.backgroundColor(black);
    image.image()->background_color = black;
    const unsigned int width = notedWidth - notedWidth % 4;
    const unsigned int height = notedHeight - notedHeight % 4;
    if (width != 0 && height != 0) {
      image.crop(Magick::Geometry(width, height, (notedWidth % 4) / 2, (notedHeight % 4) / 2));
    } else {
      // Too narrow or too low to cut: stretched to one block instead.
      scaleImage(width != 0 ? width : 4, height != 0 ? height : 4);
    }
  }

  if (forcedFormat == GL_ALPHA) {
    image.negate(true);
    image.modifyImage();
    if (kept) {
      keptImage.negate(true);
      keptImage.modifyImage();
    }
  }

  if (compression == CompressionDXT1) {
    bool opaque = false;
    if (workFormat == GL_RGBA) {
      keep();
      image.modifyImage();
      image.type(Magick::TrueColorType);
      image.magick("BGR");
      opaque = true;
    } else if (workFormat == GL_LUMINANCE || workFormat == GL_LUMINANCE_ALPHA) {
      keep();
      image.modifyImage();
      image.type(Magick::GrayscaleType);
      image.magick("I");
      opaque = true;
    }
    if (opaque) {
      image.matte(false);
      image.modifyImage();
      image.magick("BGRA");
      image.matte(true);
      image.modifyImage();
    }
  }

  // The larger of the noted and the present size, so that the uncropped kept picture can be
  // exported into the same buffer later.
  const size_t size = static_cast<size_t>(std::max(notedWidth, image.columns())) *
                      std::max(notedHeight, image.rows()) * exportPixelSize(workFormat);
  if (size == 0) {
    SetLastError(11, "Buffer size == 0\n");
    return false;
  }
  if (size > 0xFFFFFFFFu || !allocBuffer(static_cast<unsigned int>(size))) return false;
  exportPixels(image, image.columns(), image.rows(), workFormat);
  return true;
}
