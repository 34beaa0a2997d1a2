// The RGBE reader and writer beneath the HDR handler, and what the handler writes.

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <tuple>

#include "image/io/FMemOpen.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/Rgbe.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;

constexpr const char* kFormatLine = "FORMAT=32-bit_rle_rgbe\n";
using Stream = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

Stream streamOver(const Bytes& bytes) {
  return Stream(nox_fmemopen(bytes.data(), static_cast<int64_t>(bytes.size())), &std::fclose);
}

Bytes streamContents(std::FILE* stream) {
  Bytes out;
  std::rewind(stream);
  for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) out.push_back(static_cast<uint8_t>(c));
  return out;
}

TEST(Rgbe, HeaderInfoTakesProgramTypeGammaAndExposure) {
  const Bytes file = toBytes(std::string("#?RADIANCE_IS_A_LONG_NAME\nGAMMA=2.2\nEXPOSURE=0.5\n") + kFormatLine + "\n-Y 3 +X 4\n");
  rgbeHeaderInfo info;
  int width = 0;
  int height = 0;
  ASSERT_EQ(rgbe_read_header(streamOver(file).get(), &width, &height, &info), 0);
  EXPECT_EQ(std::make_pair(width, height), std::make_pair(4, 3));
  EXPECT_EQ(info.valid, RGBE_VALID_PROGRAMTYPE | RGBE_VALID_GAMMA | RGBE_VALID_EXPOSURE);
  EXPECT_STREQ(info.programtype, "RADIANCE_IS_A_L");
  EXPECT_FLOAT_EQ(info.gamma, 2.2f);
  EXPECT_FLOAT_EQ(info.exposure, 0.5f);
}

// What the HDR handler compares a declared size with before it allocates.
TEST(Rgbe, FewestBytesAreLongestRunsOrFlatPixels) {
  const std::tuple<int, int, uint64_t> cases[] = {{7, 3, 84},       {8, 2, 24},        {127, 1, 12}, {128, 1, 20},
                                                  {32767, 1, 2076}, {32768, 1, 131072}, {0, 5, 0},   {5, -1, 0}};
  for (const auto& [width, height, bytes] : cases) EXPECT_EQ(rgbe_min_pixel_bytes(width, height), bytes) << width;
}

// Exact bytes: tiny values become zero quadruples, negative ones too; runs of three or more
// (and a single short run) become run packets, and a run ends with the plane even where the
// byte behind it is the same.
TEST(Rgbe, WriterBytes) {
  const float pixels[] = {1.0f, 0.5f, 0.25f, 1e-33f, 5e-33f, 0.0f, -1.0f, -2.0f, -3.0f, 300.0f, 0.0f, 1.5f};
  Stream stream = streamOver({});
  ASSERT_EQ(rgbe_write_pixels(stream.get(), pixels, 4), 0);
  EXPECT_EQ(streamContents(stream.get()), (Bytes{128, 64, 32, 129, 0, 0, 0, 0, 0, 0, 0, 0, 150, 0, 0, 137}));
  const std::pair<Bytes, Bytes> cases[] = {{{1, 1, 2, 3, 4, 4, 4, 4, 4}, {4, 1, 1, 2, 3, 133, 4}},
                                           {{7, 7, 9, 9, 9, 9}, {130, 7, 132, 9}},
                                           {{5, 6, 7}, {3, 5, 6, 7}}};
  for (const auto& [plane, packets] : cases) {
    Stream planes = streamOver({});
    Bytes planeAndMore = plane;
    planeAndMore.push_back(plane.back());
    ASSERT_EQ(rgbe_write_bytes_rle(planes.get(), planeAndMore.data(), static_cast<int>(plane.size())), 0);
    EXPECT_EQ(streamContents(planes.get()), packets);
  }
}

// Pixels whose largest channel lies in 128..255 at exponent 136 survive the float conversions
// exactly, so the run-length writer and reader can be compared value for value.
class RgbeRunLength : public testing::TestWithParam<int> {};

TEST_P(RgbeRunLength, WriterAndReaderAgree) {
  const int width = GetParam();
  const int height = 3;
  std::mt19937 random(static_cast<unsigned>(width));
  std::vector<float> pixels;
  for (int i = 0; i < width * height; ++i) {
    const bool repeat = !pixels.empty() && random() % 3 != 0;
    for (int c = 0; c < 3; ++c) {
      const float fresh = static_cast<float>(c == 0 ? 128 + random() % 128 : random() % 128);
      pixels.push_back(repeat ? pixels[pixels.size() - 3] : fresh);
    }
  }
  Stream stream = streamOver({});
  ASSERT_EQ(rgbe_write_pixels_rle(stream.get(), pixels.data(), width, height), 0);
  const Bytes written = streamContents(stream.get());
  const bool runLength = width >= 8 && width <= 32767;
  EXPECT_EQ(written[0] == 2 && written[1] == 2, runLength);
  EXPECT_TRUE(runLength || written.size() == static_cast<size_t>(4 * width * height));
  std::vector<float> read(pixels.size(), -1.0f);
  Stream in = streamOver(written);
  ASSERT_EQ(rgbe_read_pixels_rle(in.get(), read.data(), width, height), 0);
  EXPECT_EQ(read, pixels);
  EXPECT_EQ(std::fgetc(in.get()), EOF);
}

// 40000 is flat and longer than the writer's and reader's chunk of 4096 pixels.
INSTANTIATE_TEST_SUITE_P(Widths, RgbeRunLength, testing::Values(5, 8, 9, 127, 128, 129, 300, 1000, 40000));

// Flat pixels even where run-length scanlines would do (8 wide), in file order; RGBA8 images
// are taken as RGBE quadruples and written unchanged, but flipped. saveToMemory encodes into
// a copy of its own and gives the buffer nothing.
TEST(HdrHandler, SavesFlatPixelsInFileOrder) {
  nox::test::TempDir dir;
  std::vector<PixelRGB32F> pixels(16, PixelRGB32F{{128.0f, 1.0f, 2.0f}});
  pixels[8].c[0] = 136.0f;  // model row 1, written first
  std::string floats = "#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 8\n" + toString({136, 1, 2, 136});
  for (int i = 1; i < 16; ++i) floats += toString({128, 1, 2, 136});
  const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};  // 2x2, model row 0 first
  const std::string quadruples = "#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 2\n" + toString({9, 10, 11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8});
  ImageHandlerHDR handler(nullptr, 0, kHandlerOptionsDefault);
  const std::pair<std::shared_ptr<IImage>, std::string> cases[] = {
      {makeImage<PixelRGB32F>(std::move(pixels), 8, 2, FormatRGB32F), floats},
      {makeImage<PixelRGBA8>(rows.data(), 2, 2, FormatRGBA8), quadruples}};
  for (const auto& [image, file] : cases) {
    handler.save(dir.File("out.hdr"), image.get());
    EXPECT_EQ(nox::test::ReadFile(dir.File("out.hdr")), file);
    Bytes buffer(16, 0xAB);
    EXPECT_EQ(handler.saveToMemory(buffer.data(), 16, image.get(), HDR), file.size());
    EXPECT_EQ(buffer, Bytes(16, 0xAB));
  }
}

TEST(FMemOpen, CopiesTheBlockOneWay) {
  Bytes block = {'a', 'b', 'c'};
  Stream stream = streamOver(block);
  EXPECT_EQ(std::fgetc(stream.get()), 'a');
  std::fputc('X', stream.get());
  EXPECT_EQ(streamContents(stream.get()), (Bytes{'a', 'X', 'c'}));
  EXPECT_EQ(block, (Bytes{'a', 'b', 'c'}));
  EXPECT_EQ(nox_fmemopen(block.data(), -1), nullptr);
}

}  // namespace
