// Replays every fuzz target over its seed corpus and over the inputs that once made a reader
// fail (regressions/<target>/), one CTest case each. Under AddressSanitizer this is the
// fuzzers' check without the fuzzing.
//   fuzz_replay --write-seeds <folder>   writes the seeds to <folder>/<target>/ instead.

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "fuzz/FuzzSeeds.h"
#include "fuzz/FuzzTarget.h"
#include "import/ClipDescription.h"
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

namespace fs = std::filesystem;

struct Input {
  std::string target;
  std::string name;
  test::io::Bytes bytes;
};

void PrintTo(const Input& input, std::ostream* os) { *os << input.target << "/" << input.name; }

std::vector<Input> inputs() {
  std::vector<Input> all;
  for (const auto& [target, run] : targets()) {
    for (auto& [name, bytes] : seedsOf(target)) all.push_back({target, "seed_" + name, bytes});
    const fs::path folder = fs::path(NOX_FUZZ_REGRESSIONS) / target;
    if (!fs::is_directory(folder)) continue;
    for (const auto& file : fs::directory_iterator(folder)) {
      std::ifstream in(file.path(), std::ios::binary);
      all.push_back({target, file.path().filename().string(),
                     test::io::Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())});
    }
  }
  return all;
}

std::string testName(const Input& input) {
  std::string name = input.target + "_" + input.name;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

class Replay : public testing::TestWithParam<Input> {};

// A crash, a foreign exception or a sanitizer report fails the case; CTest's timeout stops a
// reader that spins.
TEST_P(Replay, ReadsOrRefuses) { targets().at(GetParam().target)(GetParam().bytes.data(), GetParam().bytes.size()); }

INSTANTIATE_TEST_SUITE_P(Corpus, Replay, testing::ValuesIn(inputs()),
                         [](const auto& info) { return testName(info.param); });

// A folder handed to a parser as a description is read as a file of nonsense size.
TEST(ClipSource, IsLookedAtBeforeTheParserOpensIt) {
  using import::ClipSource;
  test::TempDir dir;
  const std::string file = dir.File("clip.xml");
  test::WriteFile(file, "<clip/>");
  pugi::xml_document document;
  ClipSource found = ClipSource::kReadable;
  EXPECT_FALSE(import::LoadClipDocument(dir.path().c_str(), document, &found));
  EXPECT_EQ(found, ClipSource::kDirectory);
  EXPECT_FALSE(import::LoadClipDocument(dir.File("absent.xml").c_str(), document, &found));
  EXPECT_EQ(found, ClipSource::kMissing);
  EXPECT_EQ(import::CheckClipSource("/dev/null"), ClipSource::kNotAFile);
  EXPECT_TRUE(import::LoadClipDocument(file.c_str(), document, &found));
  EXPECT_EQ(found, ClipSource::kReadable);
  EXPECT_STREQ(import::ClipSourceText(ClipSource::kMissing), "no such file");
}

}  // namespace
}  // namespace nox::fuzz

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--write-seeds") {
    for (const auto& entry : nox::fuzz::targets()) {
      const std::filesystem::path folder = std::filesystem::path(argv[2]) / entry.first;
      std::filesystem::create_directories(folder);
      for (const auto& [name, bytes] : nox::fuzz::seedsOf(entry.first))
        std::ofstream(folder / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                             static_cast<std::streamsize>(bytes.size()));
    }
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
