// Each scaler against small cases worked out by hand from its arithmetic. Sources live in
// buffers of their exact size, so an edge read past them shows up under AddressSanitizer.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "texture/Scale2D.h"
#include "texture/Scale3D.h"

namespace nox::texture {
namespace {

struct Scale2DCase {
  std::string name;
  Scaler2D scale;
  int srcW, srcH;
  std::vector<uint8_t> source;  // one component
  int dstW, dstH;
  int gammaCorrect;
  float gamma;
  std::vector<uint8_t> expected;
};

const std::vector<uint8_t> kFourByFour = {0,  40, 80,  120, 10, 50, 90,  130,
                                          20, 60, 100, 140, 90, 30, 200, 10};

TEST(Scale2DTest, MatchesTheHandWorkedResults) {
  for (const Scale2DCase& c : std::vector<Scale2DCase>{
        // Source pixel under each centre: columns 1 and 3.
        Scale2DCase{"Nearest", scaleNearest, 4, 1, {1, 2, 3, 4}, 2, 1, 0, 2.2f, {2, 4}},
        Scale2DCase{"Box", scaleBox, 4, 4, kFourByFour, 2, 2, 0, 2.2f, {25, 105, 50, 112}},
        // Linear light with gamma 2: 0 and 255 average to 127, which is 179 after the curve.
        Scale2DCase{"BoxGamma", scaleBox, 2, 2, {0, 255, 255, 0}, 1, 1, 1, 2.0f, {179}},
        // Height 1 sources: the missing neighbours repeat the edge.
        Scale2DCase{"BoxRow", scaleBox, 4, 1, {10, 20, 30, 50}, 2, 1, 0, 2.2f, {15, 40}},
        Scale2DCase{"BilinearUp", scaleBilinear, 2, 2, {0, 100, 200, 50}, 3, 3, 0, 2.2f,
                    {0, 50, 100, 100, 88, 75, 200, 125, 50}},
        Scale2DCase{"Bicubic", scaleBicubic, 4, 4, kFourByFour, 2, 2, 0, 2.2f, {0, 119, 89, 12}},
        Scale2DCase{"LanczosDown", scaleLanczos, 8, 1, {0, 30, 60, 90, 120, 150, 180, 210}, 4, 1,
                    0, 2.2f, {15, 74, 135, 194}},
        // Upscaling rings below 0 at the start, which is limited.
        Scale2DCase{"LanczosUp", scaleLanczos, 4, 1, {0, 100, 50, 200}, 8, 1, 0, 2.2f,
                    {0, 29, 87, 90, 44, 79, 162, 230}},
        // Both passes over several rows; pinned from a run, not worked by hand.
        Scale2DCase{"Lanczos2D", scaleLanczos, 4, 4, kFourByFour, 2, 2, 0, 2.2f, {22, 106, 61, 107}}}) {
    std::vector<uint8_t> dst(static_cast<size_t>(c.dstW) * c.dstH, 0xEE);
    c.scale(dst.data(), c.dstW, c.dstH, c.source.data(), c.srcW, c.srcH, 1, c.gammaCorrect, c.gamma);
    EXPECT_EQ(dst, c.expected) << c.name;
  }
}

TEST(Scale2DTest, TreatsEveryComponentAlike) {
  // Three components; the second and third are the first plus 1 and times 2.
  std::vector<uint8_t> source;
  for (const uint8_t v : kFourByFour) source.insert(source.end(), {v, uint8_t(v + 1), uint8_t(v * 2)});
  for (const Scaler2D scale : {scaleNearest, scaleBox, scaleBilinear, scaleBicubic, scaleLanczos}) {
    std::vector<uint8_t> single(4);
    std::vector<uint8_t> triple(12);
    scale(single.data(), 2, 2, kFourByFour.data(), 4, 4, 1, 0, 2.2f);
    scale(triple.data(), 2, 2, source.data(), 4, 4, 3, 0, 2.2f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(triple[i * 3], single[i]);
  }
}

// Degenerate and odd sizes, down and up: every read stays inside the exactly sized source
// (checked under AddressSanitizer), and a flat picture stays flat.
TEST(ScalerEdgeTest, FlatPicturesStayFlatAtEverySize) {
  struct Size { int srcW, srcH, dstW, dstH; };
  for (const Size e : {Size{1, 1, 1, 1}, Size{1, 3, 1, 1}, Size{5, 3, 2, 1}, Size{2, 3, 5, 7}}) {
    const std::vector<uint8_t> source(static_cast<size_t>(e.srcW) * e.srcH * 2, 90);
    for (const Scaler2D scale : {scaleNearest, scaleBox, scaleBilinear, scaleBicubic, scaleLanczos}) {
      for (const int gammaCorrect : {0, 1}) {
        std::vector<uint8_t> dst(static_cast<size_t>(e.dstW) * e.dstH * 2, 0);
        scale(dst.data(), e.dstW, e.dstH, source.data(), e.srcW, e.srcH, 2, gammaCorrect, 1.0f);
        // Lanczos divides by its weight sum in single precision and may land just below.
        const int tolerance = scale == scaleLanczos ? 1 : 0;
        for (const uint8_t v : dst) EXPECT_NEAR(v, 90, tolerance);
      }
    }
    const int depth = 3;
    const std::vector<uint8_t> volume(source.size() * depth, 90);
    for (const Scaler3D scale : {scaleNearest3D, scaleBox3D, scaleTrilinear, scaleTricubic}) {
      std::vector<uint8_t> dst(static_cast<size_t>(e.dstW) * e.dstH * 2 * 2, 0);
      scale(dst.data(), e.dstW, e.dstH, 2, volume.data(), e.srcW, e.srcH, depth, 2, 0, 2.2f);
      for (const uint8_t v : dst) EXPECT_EQ(v, 90);
    }
  }
}

struct Scale3DCase {
  std::string name;
  Scaler3D scale;
  int srcW, srcH, srcD;
  int dstW, dstH, dstD;
  std::vector<uint8_t> expected;
};

// Volume value at (x, y, z): 40 z + 4 y + x, or a ramp along z for the one-pixel columns.
std::vector<uint8_t> volume(int w, int h, int d) {
  std::vector<uint8_t> v;
  for (int z = 0; z < d; ++z) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        v.push_back(static_cast<uint8_t>(w * h == 1 ? 40 * z : 40 * z + 4 * y + x));
      }
    }
  }
  return v;
}

TEST(Scale3DTest, MatchesTheHandWorkedResults) {
  for (const Scale3DCase& c : std::vector<Scale3DCase>{
        // Pixels (1|3, 1|3, 1|3).
        Scale3DCase{
            "Nearest", scaleNearest3D, 4, 4, 4, 2, 2, 2, {45, 47, 53, 55, 125, 127, 133, 135}},
        // Slice 0 of the destination averages slices 0 and 1; slice 1 takes slice 2 and,
        // since 2 is not below dstD - 1, the 2 by 2 pixels at the start of the source.
        Scale3DCase{"Box", scaleBox3D, 4, 4, 4, 2, 2, 2, {22, 24, 30, 32, 42, 43, 46, 47}},
        // One-pixel columns up along z: 0, half the step of 40, and all of it.
        Scale3DCase{"Trilinear", scaleTrilinear, 1, 1, 2, 1, 1, 3, {0, 20, 40}},
        // Slices 2 and 3 at fraction 127, the missing slice 4 replaced by slice 3.
        Scale3DCase{"Tricubic", scaleTricubic, 1, 1, 4, 1, 1, 2, {0, 119}}}) {
    const std::vector<uint8_t> source = volume(c.srcW, c.srcH, c.srcD);
    std::vector<uint8_t> dst(static_cast<size_t>(c.dstW) * c.dstH * c.dstD, 0xEE);
    c.scale(dst.data(), c.dstW, c.dstH, c.dstD, source.data(), c.srcW, c.srcH, c.srcD, 1, 0, 2.2f);
    EXPECT_EQ(dst, c.expected) << c.name;
  }
}

}  // namespace
}  // namespace nox::texture
