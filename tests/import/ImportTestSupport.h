#pragma once
// A test importer whose slots can be steered and observed, a fresh database in a temporary
// folder, and small picture and token stream helpers.

#include <Magick++.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "import/ImporterBase.h"
#include "tests/support/DbFixture.h"

namespace nox::test {

// An importer of type 2 that records its calls as "Slot:path" and answers as told.
class TestImporter : public CImporterBase {
 public:
  using CImporterBase::CImporterBase;
  using CImporterBase::_importFile;
  using CImporterBase::_importFolder;
  using CImporterBase::_writeT;
  using CImporterBase::DismissCorrupt;
  using CImporterBase::initFileType;
  using CImporterBase::isCorrectType;
  using CImporterBase::loadImage;
  using CImporterBase::makeFileName;
  using CImporterBase::makeIcon;
  using CImporterBase::makeIconLarge;
  using CImporterBase::OpenDBFile;
  using CImporterBase::parseFilter;
  using CImporterBase::SetLastError;
  using CImporterBase::lastError;
  using CImporterBase::name;
  using CImporterBase::session;

  int Type() const override { return 2; }

  // Answers of the slots, by "Slot:path" or by "Slot"; without one CanImport and the On*
  // slots keep the base behaviour, loadFile, doImport and AddSpecialUnits succeed.
  std::map<std::string, bool> answers;
  unsigned int glFormat = 0;
  bool dual = false, alpha = false;
  std::vector<std::string> specialUnits;

  std::vector<std::string> calls;
  std::vector<std::wstring> debugTexts;
  // The arguments of the last doImport.
  bool lastOverwrite = false, lastCreateWithUuid = true;
  const void *lastChecksum = nullptr, *lastFolder = nullptr, *lastUuid = nullptr;

  // The paths of the calls of one slot.
  std::vector<std::string> CallsOf(const std::string& slot) const;
  int CanImport(const char* path) override;

 protected:
  bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                CUUID* uuid, bool createWithUuid) override;
  bool loadFile(const char* path) override { return Answer("loadFile", path, true); }
  unsigned int getImageFormatGL() const override { return glFormat; }
  bool dualIcon() const override { return dual; }
  bool isAlphaSupported() const override { return alpha; }
  bool OnImport(const char* p) override { return Answer("OnImport", p, CImporterBase::OnImport(p)); }
  bool OnImportFailed(const char* p) override {
    return Answer("OnImportFailed", p, CImporterBase::OnImportFailed(p));
  }
  bool OnFileLoaded(const char* p) override {
    return Answer("OnFileLoaded", p, CImporterBase::OnFileLoaded(p));
  }
  bool AddSpecialUnits(CNDBFile& file) override;
  void DebugInfo(const std::wstring& text) override { debugTexts.push_back(text); }

 private:
  bool Answer(const std::string& slot, const char* path, bool base);
};

// A fresh database in a temporary folder with the two file types.
class ImportDbTest : public DbTest {
 protected:
  using DbTest::MakeFile;
  // A file of `type` at `name` (below the current folder) with one unit "u".
  CUUID MakeFile(const std::string& name, int type) { return MakeFile(name, type, {"u"}); }
  // Information about a stored file; fails the test when it is missing.
  CNoxDbI::FileInfo Info(const CUUID& id);
};

// Pictures are made and read with Magick; the fixture initialises it.
class MagickTest : public ::testing::Test {
 protected:
  void SetUp() override;
  TempDir dir_;
};

struct Rgb {
  int r, g, b;
  bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};
void PrintTo(const Rgb& c, std::ostream* os);
constexpr Rgb kRed{255, 0, 0}, kBlue{0, 0, 255}, kIconGray{209, 209, 209}, kWhite{255, 255, 255},
    kBlack{0, 0, 0};

// 8-bit colour of a pixel.
Rgb PixelAt(const Magick::Image& image, int x, int y);
// A picture whose top half is `top` and bottom half `bottom`.
Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom);
// Photo-like pixels (smooth gradients with fine detail), `map` "RGB" or "RGBA", rows top first.
Magick::Image Photo(int width, int height, const std::string& map = "RGB");
// The token stream of `unit` of the stored file `id`, one item a word: a token as its number,
// plain values as "(W H)" for 8 bytes, "{W H}" for two 64-bit numbers, "=N" for 1, 2 or 4
// bytes, "\"text\"" for a printable string, "icon WxH" for an icon, "<N>" for other byte
// counts, and "[N]" for a binary value of N bytes.
std::string StreamText(CNoxDbI& session, const CUUID& id, const std::string& unit);
// The binary value that follows `token` in `unit`; empty when there is none.
std::string BinaryAfter(CNoxDbI& session, const CUUID& id, const std::string& unit, int token);

// Runs `action` and returns what it printed to standard output.
std::string Printed(const std::function<void()>& action);

}  // namespace nox::test
