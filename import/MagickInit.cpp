#include "import/MagickInit.h"

#include <Magick++.h>

namespace nox::import {

void EnsureMagickInitialized() {
  // A function-local static is initialised exactly once, even with concurrent callers.
  static const bool initialized = [] {
    Magick::InitializeMagick(nullptr);
    return true;
  }();
  (void)initialized;
}

}  // namespace nox::import
