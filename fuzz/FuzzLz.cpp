#include <vector>

#include "fuzz/FuzzTarget.h"
#include "image/io/nbn/LzCodec.h"

// A level block as the NBN reader hands it over, into a buffer of the size the reader lays
// out: here at most 65 times the block, as for a level that passes the reader's checks.
NOX_FUZZ_TARGET(lz) {
  std::vector<uint8_t> out(size * nox::image::io::kLzBestRatio + 16);
  nox::image::io::lz_unpack(data, size, out.data(), out.size());
}
