#include "image/image/Image.h"

namespace nox::image {

#define NOX_INSTANTIATE_IMAGE(P) template class Image<P>;
NOX_IMAGE_FOR_EACH_PIXEL(NOX_INSTANTIATE_IMAGE)
#undef NOX_INSTANTIATE_IMAGE

}  // namespace nox::image
