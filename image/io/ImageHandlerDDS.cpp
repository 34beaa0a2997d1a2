#include "image/io/ImageHandlerDDS.h"

#include "image/io/ImageHandlerException.h"

namespace nox::image::io {

bool ImageHandlerDDS::canLoadExtension(const std::string&) { return false; }

bool ImageHandlerDDS::canLoadMemory(const void*, int32_t) { return false; }

std::shared_ptr<IImage> ImageHandlerDDS::load() { return nullptr; }

void ImageHandlerDDS::save(const std::string&, IImage*) {}

uint32_t ImageHandlerDDS::saveToMemory(void*, int32_t, IImage*, int32_t) {
  throw ImageHandlerException(kCannotServe, "Unimplemented");
}

std::string ImageHandlerDDS::loaderName() { return "nox_image DDS Loader"; }

}  // namespace nox::image::io
