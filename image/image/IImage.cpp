#include "image/image/IImage.h"

namespace nox::image {

IImage::~IImage() = default;

}  // namespace nox::image
