// CImporterBase: icons. makeIcon fits a picture into a box on a gray canvas, with its
// colour and its alpha side by side for pictures that have alpha; makeIconLarge makes
// the larger preview. Sizes follow fixed integer and double arithmetic, because stored
// icons are compared with those of earlier imports.

#include <Magick++.h>

#include <cstdint>
#include <cstdio>

#include "import/ImporterBase.h"
#include "import/MagickInit.h"

namespace {

constexpr unsigned int kAlphaOnlyFormat = 6406;  // GL_ALPHA
constexpr double kIconGray = 209.0 / 255.0;
constexpr Magick::CompositeOperator kComposite = Magick::AtopCompositeOp;

// Conversion to a 32-bit integer toward zero.
int Truncate(double value) { return static_cast<int>(value); }

// Halving as the placement does it: an unsigned 32-bit shift.
int Half(int value) { return static_cast<int>(static_cast<uint32_t>(value) >> 1); }

// Gives `canvas` (magick and size set) pixels of one colour.
void FillCanvas(Magick::Image& canvas, const Magick::Color& colour) {
  canvas.backgroundColor(colour);
  canvas.modifyImage();
  canvas.image()->background_color = colour;
  MagickLib::SetImage(canvas.image(), colour.alphaQuantum());
}

// Replaces the picture by its opacity channel as a gray picture (opaque is black).
void ReplaceByOpacity(Magick::Image& work) {
  work.modifyImage();
  MagickLib::ExceptionInfo exception;
  MagickLib::GetExceptionInfo(&exception);
  MagickLib::Image* channel =
      MagickLib::ExportImageChannel(work.constImage(), MagickLib::OpacityChannel, &exception);
  if (channel != nullptr) work.replaceImage(channel);
  Magick::throwException(exception);  // releases the exception record, and throws on failure
}

// Dual placement of a picture that fills the box along one side: it is scaled so that two
// copies fit across, unless it is under half the box across already, and centred along.
// `box` and `boxAcross` are the box's sides, `along` (equal to `box`) and `across` the
// picture's, `offsetAlong` and `offsetAcross` its offsets. The rounding adds 0.5 before
// scaling here, unlike the fit.
void PlaceDual(int box, int boxAcross, int& along, int& across, int& offsetAlong,
               int& offsetAcross) {
  double s = boxAcross / (2.0 * across);
  if (box * s > box) {
    s = 1.0;
    offsetAcross = Truncate((boxAcross * 0.5 - (across + 0.5) * s) * 0.5);
  }
  along = Truncate((box + 0.5) * s);
  across = Truncate((across + 0.5) * s);
  offsetAlong = Half(box + 1 - along);
}

void PrintPlacement(int x, int y, int w, int h, int iw, int ih) {
  std::printf("=> save to image (%d,%d,%d,%d) to icon (%d, %d)\n", x, y, w, h, iw, ih);
}

}  // namespace

bool CImporterBase::makeIcon(const Magick::Image& image, const Magick::Geometry& box,
                             Magick::Image& icon) {
  nox::import::EnsureMagickInitialized();
  const int iw = static_cast<int>(box.width());
  const int ih = static_cast<int>(box.height());
  icon.magick("RGB");
  icon.size(box);
  FillCanvas(icon, Magick::ColorGray(kIconGray));

  Magick::Image work(image);
  if (getImageFormatGL() == kAlphaOnlyFormat) {
    ReplaceByOpacity(work);
    work.negate(false);
  }
  if (!isAlphaSupported()) {
    work.modifyImage();
    work.type(Magick::TrueColorType);
    work.magick("RGB");
    work.matte(false);
    work.modifyImage();
  }
  // Pictures are held bottom row first; the icon shows them upright.
  work.flip();

  int w = static_cast<int>(work.columns());
  int h = static_cast<int>(work.rows());
  const bool landscape = w >= h;
  bool fittedByWidth = false;
  const auto fitWidth = [&] {
    const double s = static_cast<double>(iw) / w;
    w = iw;
    h = Truncate(h * s + 0.5);
    fittedByWidth = true;
  };
  const auto fitHeight = [&] {
    const double s = static_cast<double>(ih) / h;
    h = ih;
    w = Truncate(w * s + 0.5);
    fittedByWidth = false;
  };
  if (landscape) {
    fitWidth();
    if (h > ih) fitHeight();
  } else {
    fitHeight();
    if (w > iw) fitWidth();
  }

  int x = 0;
  int y = 0;
  if (!dualIcon()) {
    if (fittedByWidth) {
      y = Half(ih - h);
    } else {
      x = Half(iw - w);
    }
  } else if (fittedByWidth) {
    PlaceDual(iw, ih, w, h, x, y);
  } else {
    PlaceDual(ih, iw, h, w, y, x);
  }

  std::printf("scale to %dx%d\n", w, h);
  work.scale(Magick::Geometry(w, h, 0, 0, false, false));
  PrintPlacement(x, y, w, h, iw, ih);
  if (!dualIcon()) {
    icon.composite(work, x, y, kComposite);
    return true;
  }

  // The colour half: the picture with its alpha ignored, over black.
  Magick::Image colour;
  colour.magick("RGB");
  colour.size(work.size());
  FillCanvas(colour, Magick::Color(0, 0, 0));
  if (dualIcon()) {
    Magick::Image plain(work);
    plain.magick("RGB");
    plain.matte(false);
    colour.composite(plain, 0, 0, kComposite);
  } else {
    colour.composite(work, 0, 0, kComposite);
  }
  icon.composite(colour, x, y, kComposite);

  // The alpha half goes below a landscape picture, even one fitted by height, and beside
  // a portrait one.
  const int dx = landscape ? 0 : Half(iw);
  const int dy = landscape ? Half(ih) : 0;
  std::printf("+> add alpha layer to image (%d,%d,%d,%d) to icon (%d, %d)\n", x + dx, y + dy, w, h,
              iw, ih);
  ReplaceByOpacity(work);
  work.negate(false);
  icon.composite(work, x + dx, y + dy, kComposite);
  return true;
}

bool CImporterBase::makeIconLarge(const Magick::Image& image, Magick::Geometry& size,
                                  Magick::Image& icon) {
  nox::import::EnsureMagickInitialized();
  const Magick::Geometry target = size;
  const bool scaleDown = image.rows() > target.height();
  icon.magick("RGB");
  if (scaleDown) {
    icon.size(target);
  } else {
    icon.size(image.size());
    size = image.size();
  }
  FillCanvas(icon, Magick::ColorGray(1.0));

  Magick::Image work(image);
  // No negation here, unlike makeIcon: the two icons of an alpha picture are inverse to
  // each other, as stored icons have always been.
  if (getImageFormatGL() == kAlphaOnlyFormat) ReplaceByOpacity(work);
  work.modifyImage();
  if (isAlphaSupported()) {
    work.type(Magick::TrueColorMatteType);
    work.magick("RGBA");
  } else {
    work.type(Magick::TrueColorType);
    work.magick("RGB");
  }
  work.matte(false);
  work.modifyImage();
  work.flip();
  if (scaleDown) {
    std::printf("scale to %dx%d\n", static_cast<int>(target.width()),
                static_cast<int>(target.height()));
    work.scale(target);
  }
  PrintPlacement(0, 0, static_cast<int>(work.columns()), static_cast<int>(work.rows()),
                 static_cast<int>(size.width()), static_cast<int>(size.height()));
  icon.composite(work, 0, 0, kComposite);
  return true;
}

void CImporterBase::debugWriteImageToFile(const Magick::Image&, const std::string&,
                                          const tagSIZE*) {}
