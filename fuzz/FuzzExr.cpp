#include "fuzz/FuzzHandlers.h"
#include "image/io/ImageHandlerEXR.h"

NOX_FUZZ_TARGET(exr) {
  nox::fuzz::loadThrough<nox::image::io::ImageHandlerEXR>(data, size);
  // The memory chain opens the file once more, without our load around it.
  if (size <= INT32_MAX) nox::image::io::ImageHandlerEXR::canLoadMemory(data, static_cast<int32_t>(size));
}
