#include "fuzz/FuzzTarget.h"
#include "image/io/ImageHandlerSTBI.h"

NOX_FUZZ_TARGET(stbi) { nox::fuzz::loadThrough<nox::image::io::ImageHandlerSTBI>(data, size); }
