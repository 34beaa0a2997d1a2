// Choosing a handler by file name and by content, and what every handler shares.

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>

#include "image/io/ImageHandlerDDS.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerFactory.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::TempDir;
using nox::test::WriteFile;

constexpr const char* kEXR = "nox_image EXR Loader";
constexpr const char* kHDR = "nox_image HDR Loader";
constexpr const char* kSTBI = "nox_image STBI Loader";
constexpr const char* kNBN = "nox_image NBN Loader";

// The loader name of the handler chosen, or "code N: message".
template <class Create>
std::string chosen(Create create) {
  try {
    return create()->loaderName();
  } catch (const ImageHandlerException& e) {
    return "code " + std::to_string(e.code()) + ": " + e.what();
  }
}

struct PathCase {
  const char* name;  // a file of this name (relative to a fresh folder) is made unless it is `missing`
  bool missing;
  const char* expected;
};

void PrintTo(const PathCase& c, std::ostream* os) { *os << c.name; }

class ChoiceByPath : public testing::TestWithParam<PathCase> {};

TEST_P(ChoiceByPath, TakesTheLastExtensionWhole) {
  TempDir dir;
  const PathCase& c = GetParam();
  const std::string path = dir.File(c.name);
  if (!c.missing) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFile(path, "not a picture");
  }
  std::string expected = c.expected;
  if (expected == "unreadable") expected = "code 1: File '" + path + "' could not be read";
  EXPECT_EQ(chosen([&] { return createFromPath(path, kHandlerOptionsDefault); }), expected);
}

const char* const kRefused = "code 0: File format is unsupported";

INSTANTIATE_TEST_SUITE_P(
    Names, ChoiceByPath,
    testing::Values(PathCase{"a.exr", false, kEXR}, PathCase{"b.tar.exr", false, kEXR},
                    PathCase{"c.hdr", false, kHDR}, PathCase{"d.png", false, kSTBI}, PathCase{"e.JPG", false, kSTBI},
                    PathCase{"f.jPeG", false, kSTBI}, PathCase{"g.bmp", false, kSTBI}, PathCase{"h.psd", false, kSTBI},
                    PathCase{"i.TGA", false, kSTBI}, PathCase{"j.nbn", false, kNBN},
                    PathCase{"k.dds", false, kRefused}, PathCase{"l.gif", false, kRefused},
                    PathCase{"m.", false, kRefused},
                    PathCase{"dir.png/noext", false, kRefused}, PathCase{"missing.png", true, "unreadable"},
                    PathCase{"missing.nbn", true, "unreadable"}, PathCase{"missing.xyz", true, kRefused}),
    [](const auto& info) {
      std::string name;
      for (char c : std::string(info.param.name)) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
      return name + (info.param.missing ? "_missing" : "");
    });

TEST(ChoiceByPath, ExtensionIsTheTextBehindTheLastDotLowerCased) {
  const std::pair<const char*, const char*> cases[] = {
      {"exr", "exr"},          {"Photo.JPEG", "jpeg"},          {"/a/b.tar.Exr", "exr"},
      {"/a.b/noext", "b/noext"}, {"name.", ""},                 {"", ""},
      {"x.\xC3\x89XR", "\xc3\x89xr"}};
  for (const auto& [name, extension] : cases) EXPECT_EQ(fileExtension(name), extension) << name;
}

TEST(ChoiceByPath, FolderWithAKnownExtensionIsUnreadable) {
  TempDir dir;
  const std::string folder = dir.File("pictures.png");
  std::filesystem::create_directory(folder);
  EXPECT_EQ(chosen([&] { return createFromPath(folder, kHandlerOptionsDefault); }),
            "code 1: File '" + folder + "' could not be read");
}

TEST(ChoiceByPath, HandlerHoldsTheWholeFileAndTheOptionsAndAnEmptyFileFailsOnLoad) {
  TempDir dir;
  const std::string content = "\x00\x01 binary \xff bytes";
  WriteFile(dir.File("x.hdr"), content);
  auto handler = createFromPath(dir.File("x.hdr"), 0x0101);
  EXPECT_EQ(toString(handler->bytes()), content);
  EXPECT_TRUE(handler->forceRgba());
  EXPECT_TRUE(handler->applyExifOrientation());

  WriteFile(dir.File("empty.png"), "");
  auto empty = createFromPath(dir.File("empty.png"), kHandlerOptionsDefault);
  EXPECT_TRUE(empty->bytes().empty());
  try {
    empty->load();
    FAIL() << "an empty file loaded";
  } catch (const ImageHandlerException& e) {
    EXPECT_EQ(e.code(), kUnsupported);
    EXPECT_STREQ(e.what(), "Unsupported format");
  }
}

// A block that is an RGBE header and a TGA header at once: the HDR family comes first.
Bytes hdrThatLooksLikeTga() {
  Bytes first = {'X', 1, 1, 'a', 'a', 'a', 'a', 8, 'a', 'a', 'a', 'a', 5, 0, 5, 0, 8, '\n'};
  const Bytes rest = toBytes("FORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81");
  first.insert(first.end(), rest.begin(), rest.end());
  return first;
}

struct MemoryCase {
  const char* name;
  Bytes block;
  const char* expected;
};

void PrintTo(const MemoryCase& c, std::ostream* os) { *os << c.name; }

std::vector<MemoryCase> memoryCases() {
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes exr = exrFile(2, 2, std::vector<float>(16, 0.5f));
  const Bytes unfinishedExr = exrFile(2, 64, std::vector<float>(512, 0.5f), 0, 0, 32);
  const Bytes nbn = nbnFile(8, 8, 5, 0, 0, quadrantPicture(8, 8, 4));
  Bytes dds = toBytes("DDS ");
  dds.resize(128, 0);
  dds[4] = 124;
  return {
      {"Exr", exr, kEXR},
      {"UnfinishedExr", unfinishedExr, kRefused},
      {"ExrCutShort", Bytes(exr.begin(), exr.end() - 10), kEXR},
      {"Hdr", toBytes("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81"), kHDR},
      {"HdrBeforeTga", hdrThatLooksLikeTga(), kHDR},
      {"Png", stbEncode(StbKind::Png, 8, 8, 3, rgb), kSTBI},
      {"Jpeg", stbEncode(StbKind::Jpg, 8, 8, 3, rgb), kSTBI},
      {"Bmp", stbEncode(StbKind::Bmp, 8, 8, 3, rgb), kSTBI},
      {"Tga", stbEncode(StbKind::Tga, 8, 8, 3, rgb), kSTBI},
      {"Psd", psdFile(2, 2, 3, 8, Bytes(12, 7)), kSTBI},
      {"Nbn", nbn, kRefused},
      {"Dds", dds, kRefused},
      {"Text", toBytes("just some text"), kRefused},
      {"Empty", {}, kRefused},
  };
}

class ChoiceByContent : public testing::TestWithParam<MemoryCase> {};

TEST_P(ChoiceByContent, FollowsTheChainOrder) {
  const Bytes& block = GetParam().block;
  EXPECT_EQ(chosen([&] {
              return createFromMemory(block.data(), static_cast<int32_t>(block.size()), kHandlerOptionsDefault);
            }),
            GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Blocks, ChoiceByContent, testing::ValuesIn(memoryCases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ChoiceByContent, NullOrNegativeBlockIsRefused) {
  const uint8_t byte = 0;
  EXPECT_EQ(chosen([] { return createFromMemory(nullptr, 100, kHandlerOptionsDefault); }), kRefused);
  EXPECT_EQ(chosen([&] { return createFromMemory(&byte, -5, kHandlerOptionsDefault); }), kRefused);
}

TEST(Handlers, TheDdsHandlerDoesNothing) {
  TempDir dir;
  const Bytes dds = toBytes("DDS whatever");
  EXPECT_FALSE(ImageHandlerDDS::canLoadExtension("dds"));
  EXPECT_FALSE(ImageHandlerDDS::canLoadMemory(dds.data(), static_cast<int32_t>(dds.size())));
  ImageHandlerDDS handler(dds.data(), static_cast<int32_t>(dds.size()), kHandlerOptionsDefault);
  EXPECT_EQ(handler.load(), nullptr);
  auto image = nox::image::makeImage<nox::image::PixelRGB8>(Bytes(12).data(), 2, 2, nox::image::FormatRGB8);
  handler.save(dir.File("out.dds"), image.get());
  EXPECT_FALSE(std::filesystem::exists(dir.File("out.dds")));
  try {
    handler.saveToMemory(nullptr, 0, nullptr, 0);
    FAIL() << "saveToMemory did not throw";
  } catch (const ImageHandlerException& e) {
    EXPECT_EQ(e.code(), kCannotServe);
    EXPECT_STREQ(e.what(), "Unimplemented");
  }
}

}  // namespace
