#include "image/io/nbn/FastDxt.h"

#include <gtest/gtest.h>
#include <squish.h>

#include <cstdlib>

#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::nbn;

using Encode = size_t (*)(const uint8_t*, uint8_t*, int, int);

struct EncoderCase {
  const char* name;
  Encode encode;
  int squishFlags;
  int blockBytes;
  bool flipped;
};

struct Decoded {
  Bytes pixels;
  size_t written;
};

Decoded encodeAndDecode(const EncoderCase& ec, const Bytes& picture, int width, int height) {
  const Bytes source = ec.flipped ? flipAndSwap(picture, width, height) : picture;
  Bytes blocks(size_t(width) * height / 16 * ec.blockBytes);
  const size_t written = ec.encode(source.data(), blocks.data(), width, height);
  Bytes decoded(picture.size());
  squish::DecompressImage(decoded.data(), width, height, blocks.data(), ec.squishFlags);
  return {decoded, written};
}

class FastDxt : public testing::TestWithParam<EncoderCase> {};

TEST_P(FastDxt, TwoColourBlocksDecodeExactly) {
  const EncoderCase ec = GetParam();
  const int width = 32;
  const int height = 16;
  const Bytes picture = blockExactRgba(width, height, 3);
  const Decoded result = encodeAndDecode(ec, picture, width, height);
  EXPECT_EQ(result.written, size_t(width) * height / 16 * ec.blockBytes);
  for (size_t i = 0; i < picture.size(); ++i) {
    if (i % 4 == 3 && ec.blockBytes == 8) continue;  // DXT1 carries no alpha here
    ASSERT_EQ(result.pixels[i], picture[i]) << "byte " << i;
  }
}

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
    testing::Values(EncoderCase{"dxt1", encode_dxt1, squish::kDxt1, 8, false},
                    EncoderCase{"dxt5", encode_dxt5, squish::kDxt5, 16, false},
                    EncoderCase{"dxt1_flipped", encode_dxt1_flipped, squish::kDxt1, 8, true},
                    EncoderCase{"dxt5_flipped", encode_dxt5_flipped, squish::kDxt5, 16, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
