// The EXR handler and its memory streams.

#include <gtest/gtest.h>
#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfRgbaFile.h>

#include <functional>
#include <ostream>

#include "image/io/ExrMemStreams.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerFactory.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::TempDir;
using nox::test::WriteFile;

// Channel values that name their pixel: 100 * row + 10 * column + channel, in file order.
std::vector<float> numberedRgba(int width, int height) {
  std::vector<float> out;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < 4; ++c) out.push_back(static_cast<float>(100 * y + 10 * x + c));
  return out;
}

std::shared_ptr<IImage> loadFile(const Bytes& file, const std::string& name = "p.exr") {
  TempDir dir;
  WriteFile(dir.File(name), toString(file));
  return createFromPath(dir.File(name), kHandlerOptionsDefault)->load();
}

std::shared_ptr<Image<PixelRGBA16F>> halfImage(unsigned width, unsigned height, size_t pixels) {
  std::vector<PixelRGBA16F> data(pixels);
  for (size_t i = 0; i < pixels; ++i) data[i] = PixelRGBA16F{{half(float(i)), half(0.5f), half(0.25f), half(1.0f)}};
  return makeImage<PixelRGBA16F>(std::move(data), width, height, FormatRGBA16F);
}

TEST(ExrHandler, ReadsADataWindowAwayFromTheOriginWithRowsReversed) {
  const int width = 3;
  const int height = 4;
  const auto image = loadFile(exrFile(width, height, numberedRgba(width, height), 5, -3));
  ASSERT_EQ(image->width(), 3u);
  ASSERT_EQ(image->height(), 4u);
  EXPECT_EQ(image->format(), FormatRGBA16F);
  const auto& pixels = pixelsOf<PixelRGBA16F>(*image);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const PixelRGBA16F& p = pixels[static_cast<size_t>(y * width + x)];
      const int fileRow = height - 1 - y;
      for (int c = 0; c < 4; ++c) EXPECT_EQ(float(p.c[c]), float(100 * fileRow + 10 * x + c)) << x << "," << y;
    }
  }
}

TEST(ExrHandler, UnfinishedOrUnknownFilesAreRefused) {
  const Bytes unfinished = exrFile(2, 64, numberedRgba(2, 64), 0, 0, 32);
  EXPECT_EQ(failureOf([&] { loadFile(unfinished); }), "3: File is not complete");
  EXPECT_FALSE(ImageHandlerEXR::canLoadMemory(unfinished.data(), static_cast<int32_t>(unfinished.size())));

  // The library's own refusal gives its text.
  Bytes exr = exrFile(4, 4, numberedRgba(4, 4));
  exr[4] = 99;  // a file format version the library does not know
  ImageHandlerEXR handler(exr.data(), static_cast<int32_t>(exr.size()), kHandlerOptionsDefault);
  try {
    handler.load();
    FAIL() << "a file of version 99 loaded";
  } catch (const ImageHandlerException& e) {
    EXPECT_EQ(e.code(), kCannotServe);
    EXPECT_NE(std::string(e.what()).find("99"), std::string::npos) << e.what();
  }
}

TEST(ExrHandler, SaveWritesRowsAsTheyStand) {
  TempDir dir;
  const auto image = halfImage(2, 3, 6);
  ImageHandlerEXR handler(nullptr, 0, kHandlerOptionsDefault);
  handler.save(dir.File("out.exr"), image.get());

  Imf::RgbaInputFile file(dir.File("out.exr").c_str());
  const Imath::Box2i window = file.dataWindow();
  ASSERT_EQ(window.max.x, 1);
  ASSERT_EQ(window.max.y, 2);
  EXPECT_EQ(file.header().compression(), Imf::PIZ_COMPRESSION);
  std::vector<Imf::Rgba> rows(6);
  file.setFrameBuffer(rows.data(), 1, 2);
  file.readPixels(0, 2);
  for (size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(float(rows[i].r), float(i));  // file row 0 = model row 0

  // The same bytes come out of saveToMemory.
  const std::string saved = nox::test::ReadFile(dir.File("out.exr"));
  Bytes buffer(saved.size() + 100, 0xEE);
  const uint32_t written =
      handler.saveToMemory(buffer.data(), static_cast<int32_t>(buffer.size()), image.get(), EXR);
  EXPECT_EQ(written, saved.size());
  EXPECT_EQ(toString(Bytes(buffer.begin(), buffer.begin() + written)), saved);

  // A buffer too small keeps what was written before the refusal.
  Bytes small(64, 0);
  EXPECT_THROW(handler.saveToMemory(small.data(), 64, image.get(), EXR), ImageHandlerException);
  EXPECT_EQ(small[0], 0x76);  // the EXR magic number
  EXPECT_EQ(small[3], 0x01);
}

struct SaveRefusal {
  const char* name;
  std::function<std::string(ImageHandlerEXR&)> call;
  const char* expected;
};

void PrintTo(const SaveRefusal& c, std::ostream* os) { *os << c.name; }

std::vector<SaveRefusal> saveRefusals() {
  static const auto half2x2 = halfImage(2, 2, 4);
  static const auto short2x2 = halfImage(2, 2, 3);
  static const auto bytes2x2 = makeImage<PixelRGBA8>(Bytes(16).data(), 2, 2, FormatRGBA8);
  const auto toMemory = [](IImage* image, int32_t type, int32_t size = 4096) {
    return [=](ImageHandlerEXR& h) {
      Bytes buffer(static_cast<size_t>(std::max(size, 0)));
      return failureOf([&] { h.saveToMemory(buffer.data(), size, image, type); });
    };
  };
  return {
      {"NullImageWithWrongType", toMemory(nullptr, PNG), ""},
      {"TypeOtherThanExr", toMemory(half2x2.get(), PNG), "4: Unsupported format"},
      {"TypeBeforeFormat", toMemory(bytes2x2.get(), PNG), "4: Unsupported format"},
      {"EightBitImage", toMemory(bytes2x2.get(), EXR), "3: Only 16-bits RGBA half-float data support for EXR export"},
      {"FewerPixelsThanTheSize", toMemory(short2x2.get(), EXR), "3: Unexpected data size"},
      {"BufferTooSmall", toMemory(half2x2.get(), EXR, 100), "6: Insuffient memory allocated to write to memory"},
      {"NegativeSize", toMemory(half2x2.get(), EXR, -1), "6: Insuffient memory allocated to write to memory"},
      {"SaveEightBitImage",
       [](ImageHandlerEXR& h) { return failureOf([&] { h.save("/nonexistent/x.exr", bytes2x2.get()); }); },
       "3: Only 16-bits RGBA half-float data support for EXR export"},
      // The library's own text follows the code.
      {"SaveIntoMissingFolder",
       [](ImageHandlerEXR& h) { return failureOf([&] { h.save("/nonexistent-folder/x.exr", half2x2.get()); }).substr(0, 3); },
       "2: "},
  };
}

class ExrSaveRefusals : public testing::TestWithParam<SaveRefusal> {};

TEST_P(ExrSaveRefusals, GiveTheirCodeAndMessage) {
  ImageHandlerEXR handler(nullptr, 0, kHandlerOptionsDefault);
  EXPECT_EQ(GetParam().call(handler), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ExrSaveRefusals, testing::ValuesIn(saveRefusals()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ExrMemStreams, ReadStopsAtTheEndOfTheBlock) {
  const char block[6] = {1, 2, 3, 4, 5, 6};
  MemIStream in(block, sizeof(block));
  char out[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_TRUE(in.read(out, 4));
  EXPECT_TRUE(in.read(out, 2));  // the last bytes of the block
  EXPECT_EQ(out[1], 6);
  EXPECT_EQ(in.tellg(), 6u);
  EXPECT_THROW(in.read(out, 1), Iex::InputExc);
  in.seekg(3);
  EXPECT_THROW(in.read(out, 4), Iex::InputExc);
  EXPECT_EQ(out[0], 0);  // a failed read leaves zeros, never leftovers
  EXPECT_EQ(in.tellg(), 3u);
  in.seekg(~uint64_t{0});
  EXPECT_THROW(in.read(out, 2), Iex::InputExc);
}

}  // namespace
