#include "image/io/nbn/FastDxt.h"

#include <gtest/gtest.h>

#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::nbn;

using Encode = size_t (*)(const uint8_t*, uint8_t*, int, int);

struct EncoderCase {
  const char* name;
  Encode encode;
  int blockBytes;
  bool flipped;
};

// The exact bytes of a flat block. That two-colour blocks come back exactly shows in the
// container's round trip, which decodes them through libsquish.
class FastDxt : public testing::TestWithParam<EncoderCase> {};

TEST_P(FastDxt, FlatBlockHasEqualEndPointsAndIndexZero) {
  const EncoderCase ec = GetParam();
  Bytes block(64);
  for (int i = 0; i < 16; ++i) {
    const uint8_t px[4] = {200, 100, 50, 77};
    std::copy(px, px + 4, block.begin() + 4 * i);
  }
  uint8_t out[16];
  ASSERT_EQ(ec.encode(block.data(), out, 4, 4), size_t(ec.blockBytes));
  const uint8_t* colour = out + ec.blockBytes - 8;
  const unsigned packed = ec.flipped ? ((50 >> 3) << 11) | ((100 >> 2) << 5) | (200 >> 3)
                                     : ((200 >> 3) << 11) | ((100 >> 2) << 5) | (50 >> 3);
  EXPECT_EQ(colour[0] | colour[1] << 8, packed);
  EXPECT_EQ(colour[2] | colour[3] << 8, packed);
  EXPECT_EQ(colour[4] | colour[5] | colour[6] | colour[7], 0);
  if (ec.blockBytes == 16) {
    EXPECT_EQ(out[0], 77);
    EXPECT_EQ(out[1], 77);
    // Equal alpha end points: every pixel takes index 1, the second end point.
    uint64_t indices = 0;
    for (int i = 0; i < 6; ++i) indices |= uint64_t(out[2 + i]) << (8 * i);
    for (int i = 0; i < 16; ++i) EXPECT_EQ((indices >> (3 * i)) & 7, 1u) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Encoders, FastDxt,
    testing::Values(EncoderCase{"dxt1", encode_dxt1, 8, false},
                    EncoderCase{"dxt5", encode_dxt5, 16, false},
                    EncoderCase{"dxt1_flipped", encode_dxt1_flipped, 8, true},
                    EncoderCase{"dxt5_flipped", encode_dxt5_flipped, 16, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
