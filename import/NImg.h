#pragma once
// CNImg: one picture as the importers hold it, either a Magick image (read by
// GraphicsMagick) or an IImage of our own image model (read by a format handler). `kind`
// tells which one counts; the model's road fills the Magick image too, because icons and
// pixel exports work on Magick images only.

#include <Magick++.h>

#include <memory>

#include "image/image/IImage.h"
#include "import/ImporterBase.h"

class CNImg {
 public:
  using GLFormat = CImporterBase::GLFormat;

  CNImg();
  // Copies share the IImage and the Magick image's pixels (Magick copies on write).
  CNImg(const CNImg& other);
  CNImg& operator=(const CNImg& other);
  ~CNImg();

  // Holds a Magick picture: kind becomes ImportableByMagick, glFormat GL_RGBA for a raw
  // "RGBA" image and GL_RGB otherwise. The IImage is left as it was.
  void set(const Magick::Image& image);
  // Holds a model picture. glFormat is taken before kind becomes ImportableByHandler, so a
  // caller that has not set kind yet keeps the old glFormat.
  void set(std::shared_ptr<nox::image::IImage> image);

  // The size of the picture that counts.
  Magick::Geometry size() const;
  // True when an IImage is held and kind says it counts.
  bool IsNoxImage() const;
  // The GL layout of the picture that counts; 0 for a model format with no such layout.
  GLFormat toGLFormat() const;
  // Makes magickImage from a high dynamic range IImage (half RGBA or float RGB) through a
  // fixed tone curve, with 3 or 4 channels as `format` asks. A width or height of -1 means
  // the source's. Whatever they are, the Magick image ends at the source's size. False, with
  // no message, for other model formats, for a picture that is not a model one, or when
  // GraphicsMagick throws.
  bool CopyNoxImage2Magick(GLFormat format, int width, int height);

  bool isBlockCompressed;  // the IImage holds DXT blocks; noted, read by nothing else
  GLFormat glFormat;
  int kind;  // a CImporterBase::Importable value
  Magick::Image magickImage;
  std::shared_ptr<nox::image::IImage> noxImage;
};
