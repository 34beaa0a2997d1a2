#include "fuzz/FuzzTarget.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/MemNoxImage.h"

// The handler's content test and load, then the readers it does not use: one level alone
// and the decoded full-size picture, over the same block.
NOX_FUZZ_TARGET(nbn) {
  nox::fuzz::loadThrough<nox::image::io::ImageHandlerNBN>(data, size);
  if (size < 1 || size > UINT32_MAX) return;
  nox::image::io::CMemNoxImage nbn;
  nbn.set_max_pixels(static_cast<int64_t>(nox::fuzz::kFuzzMaxPixels));
  nbn.load_from_memory(data, static_cast<uint32_t>(size), false);
  nbn.load_level(nullptr, data[size - 1] % 4);
  nbn.load_decoded(nullptr);
}
