#include "fuzz/FuzzTarget.h"
#include "image/io/ImageHandlerHDR.h"

NOX_FUZZ_TARGET(hdr) { nox::fuzz::loadThrough<nox::image::io::ImageHandlerHDR>(data, size); }
