#include "import/MagickInit.h"

#include <Magick++.h>

#include "image/io/ImageHandlerImpl.h"

namespace nox::import {

void EnsureMagickInitialized() {
  // A function-local static is initialised exactly once, even with concurrent callers.
  static const bool initialized = [] {
    Magick::InitializeMagick(nullptr);
    // A header can declare any size: refuse what our own handlers refuse before GraphicsMagick
    // allocates pixels for it.
    MagickLib::SetMagickResourceLimit(MagickLib::PixelsResource,
                                      static_cast<MagickLib::magick_int64_t>(
                                          nox::image::io::kMaxImagePixels));
    return true;
  }();
  (void)initialized;
}

namespace {
// A program may make Magick images of its own before it first calls the library, and
// GraphicsMagick aborts on an image made before its set-up: so the set-up runs as the
// library is loaded, which is before any code of the program runs.
const bool kInitializedOnLoad = (EnsureMagickInitialized(), true);
}  // namespace

}  // namespace nox::import
