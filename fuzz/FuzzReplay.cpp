// Replays every fuzz target over its seeds (made by our own writers) and over the inputs
// that once made a reader fail (regressions/<target>/), one CTest case each; a seed is also
// read damaged. Under AddressSanitizer this is the fuzzers' check without the fuzzing.
//   fuzz_replay --write-seeds <folder>   writes the seeds to <folder>/<target>/ instead.

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <filesystem>
#include <map>
#include <random>

#include "fuzz/FuzzTarget.h"
#include "image/io/nbn/LzCodec.h"
#include "image/io/nbn/NbnLayout.h"
#include "image/io/nbn/NoxImage.h"
#include "import/ClipDescription.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaSamples.h"
#include "tests/support/TempDir.h"

namespace nox::fuzz {

std::map<std::string, Target>& targets() {
  static std::map<std::string, Target> all;
  return all;
}

bool registerTarget(const char* name, Target target) {
  targets()[name] = target;
  return true;
}

namespace {

using namespace test::io;

std::vector<float> floats(size_t count) {
  std::vector<float> out(count);
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<float>(i % 13) / 3.0f;
  return out;
}

Bytes exifOf(bool little) {
  using namespace test::exif;
  return exifSegment(tiff(little, {{kMain, 271, 2, {}, "Maker"}, orientation(6), {kExif, 33434, 5, {1, 60}},
                                   {kGps, 2, 5, {48, 1, 30, 1, 36, 1}}}));
}

// The seeds of each target, made by our own writers: a file name and its bytes.
std::map<std::string, std::vector<std::pair<std::string, Bytes>>> seeds() {
  using namespace image::io;
  using test::nbn::Kind;
  using test::nbn::sampleBytes;
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes rgba = quadrantPicture(8, 8, 4);
  const Bytes jpeg = stbEncode(StbKind::Jpg, 8, 8, 3, rgb);
  return {
      {"hdr", {{"rle-16x4", hdrFile(16, 4, floats(16 * 4 * 3), true)}, {"flat-7x3", hdrFile(7, 3, floats(7 * 3 * 3), false)}}},
      {"stbi",
       {{"png", stbEncode(StbKind::Png, 8, 8, 4, rgba)}, {"png-grey16", pngFile(4, 4, 0, 16, Bytes(32, 0x5A))},
        {"bmp", stbEncode(StbKind::Bmp, 8, 8, 3, rgb)}, {"tga-rle", stbEncode(StbKind::Tga, 8, 8, 4, rgba)},
        {"jpeg", jpeg}, {"jpeg-exif", test::exif::spliceAfterSoi(jpeg, exifOf(true))}, {"psd", psdFile(8, 8, 3, 8, rgb)}}},
      {"exr",
       {{"piz-8x8", exrFile(8, 8, floats(8 * 8 * 4))}, {"window-4-2", exrFile(4, 4, floats(64), 4, 2)},
        {"incomplete", exrFile(8, 40, floats(8 * 40 * 4), 0, 0, 3)}}},
      {"nbn",
       {{"raw-chain", nbnFile(8, 8, kNbnRgba, kNbnRaw, kNbnMipChain, rgba)}, {"lz-rgb", nbnFile(8, 8, kNbnRgb, kNbnLz, 0, rgb)},
        {"dxt5", nbnFile(8, 8, kNbnRgba, kNbnDxt5, 0, rgba)},
        {"lz-dxt1-full-copy", nbnFile(16, 16, kNbnRgba, kNbnLzDxt1, kNbnMipChain | kNbnFullCopy, {})}}},
      {"lz",
       {{"text", test::nbn::lzPacked(sampleBytes(Kind::Text, 600))}, {"runs", test::nbn::lzPacked(sampleBytes(Kind::Runs, 3000))},
        {"stored", test::nbn::lzPacked(sampleBytes(Kind::Random, 100))}}},
      {"exif", {{"little", test::exif::jpegAround(exifOf(true))}, {"big", test::exif::jpegAround(exifOf(false))}}},
      {"clip",
       {{"description", toBytes("<clip><field name=\"clip\"><value>a.mov</value></field><field name=\"clipname\"><value>A"
                                "</value></field><field name=\"start_tc\"><value>01:02:03:040</value></field><field "
                                "name=\"width\"><value>1920</value></field><mode>proxy_only no_icon</mode></clip>")}}},
  };
}

struct Input {
  std::string target, name;
  Bytes bytes;
  bool seed;  // made here, rather than kept in regressions/
};

void PrintTo(const Input& input, std::ostream* os) { *os << input.target << "/" << input.name; }

std::vector<Input> inputs() {
  std::vector<Input> all;
  auto made = seeds();
  for (const auto& [target, run] : targets()) {
    for (auto& [name, bytes] : made[target]) all.push_back({target, "seed_" + name, bytes, true});
    std::error_code none;  // a target without regressions has no folder
    for (const auto& file : std::filesystem::directory_iterator(std::filesystem::path(NOX_FUZZ_REGRESSIONS) / target, none))
      all.push_back({target, file.path().filename().string(), toBytes(test::ReadFile(file.path().string())), false});
  }
  return all;
}

class Replay : public testing::TestWithParam<Input> {};

// A crash, a foreign exception or a sanitizer report fails the case; CTest's timeout stops a
// reader that spins. A seed is then read cut at every length (an exact-size copy, so that a
// read past it shows) and 100 times with one to four bytes changed.
TEST_P(Replay, ReadsOrRefuses) {
  const Input& input = GetParam();
  const size_t size = input.bytes.size();
  std::mt19937 random(static_cast<unsigned>(size));
  // Trial `size` is the input itself; a seed's trials before it are its cuts, after it the changes.
  for (size_t trial = input.seed ? 0 : size; trial <= (input.seed ? size + 100 : size); ++trial) {
    Bytes damaged(input.bytes.begin(), input.bytes.begin() + static_cast<long>(std::min(trial, size)));
    for (size_t i = 0; trial > size && i <= trial % 4; ++i) damaged[random() % size] ^= static_cast<uint8_t>(1 + random() % 255);
    targets().at(input.target)(damaged.data(), damaged.size());
  }
}

INSTANTIATE_TEST_SUITE_P(Corpus, Replay, testing::ValuesIn(inputs()), [](const auto& info) {
  std::string name = info.param.target + "_" + info.param.name;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
});

// A folder or a device handed to the parser as a description would be read as a file of
// nonsense size: what it is is looked at first.
TEST(ClipSource, IsLookedAtBeforeTheParserOpensIt) {
  using import::ClipSource;
  test::TempDir dir;
  pugi::xml_document document;
  for (const auto& [path, expected] :
       {std::pair(dir.path().string(), ClipSource::kDirectory), std::pair(std::string("/dev/null"), ClipSource::kNotAFile)}) {
    ClipSource found = ClipSource::kReadable;
    EXPECT_EQ(std::pair(import::LoadClipDocument(path.c_str(), document, &found), found), std::pair(false, expected)) << path;
  }
}

}  // namespace
}  // namespace nox::fuzz

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--write-seeds") {
    for (const auto& [target, files] : nox::fuzz::seeds()) {
      const std::filesystem::path folder = std::filesystem::path(argv[2]) / target;
      std::filesystem::create_directories(folder);
      for (const auto& [name, bytes] : files) nox::test::WriteFile(folder / name, nox::test::io::toString(bytes));
    }
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
