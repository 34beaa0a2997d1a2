#include "fuzz/FuzzTarget.h"
#include "image/io/ImageHandlerEXR.h"

NOX_FUZZ_TARGET(exr) { nox::fuzz::loadThrough<nox::image::io::ImageHandlerEXR>(data, size); }
