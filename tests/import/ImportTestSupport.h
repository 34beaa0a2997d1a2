#pragma once
// A test importer whose every slot can be steered and observed, a fresh database in a
// temporary folder, and small picture helpers.

#include <Magick++.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "import/ImporterBase.h"
#include "import/db/Database.h"
#include "tests/support/TempDir.h"

namespace nox::test {

constexpr int kImageType = 49;
constexpr int kClipType = 248;

// An importer of type 2 that records what the base calls and answers as told.
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

  using CImporterBase::createFolder;
  using CImporterBase::destinationFolder;
  using CImporterBase::fileType;
  using CImporterBase::keywords;
  using CImporterBase::lastError;
  using CImporterBase::name;

  int Type() const override { return 2; }

  // Steering; an empty function keeps the base behaviour.
  std::function<int(const std::string&)> canImport;
  std::function<bool(const std::string&)> onImport, onImportFailed, onFileLoaded;
  bool loadResult = true;
  bool importResult = true;
  unsigned int glFormat = 0;
  bool dual = false;
  bool alpha = false;
  bool specialUnitsResult = true;
  std::vector<std::string> specialUnits;

  // Observations: "Slot:path" for every path-taking slot, in call order.
  std::vector<std::string> calls;
  std::vector<std::wstring> debugTexts;
  bool lastOverwrite = false;
  bool lastCreateWithUuid = true;
  const CNOFChecksum* lastChecksum = nullptr;
  const CUUID* lastFolder = nullptr;
  CUUID* lastUuid = nullptr;

  // The calls of one slot, paths only.
  std::vector<std::string> CallsOf(const std::string& slot) const;

  int CanImport(const char* path) override;

 protected:
  bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                CUUID* uuid, bool createWithUuid) override;
  bool loadFile(const char* path) override;
  unsigned int getImageFormatGL() const override { return glFormat; }
  bool dualIcon() const override { return dual; }
  bool isAlphaSupported() const override { return alpha; }
  bool OnImport(const char* path) override;
  bool OnImportFailed(const char* path) override;
  bool OnFileLoaded(const char* path) override;
  bool AddSpecialUnits(CNDBFile& file) override;
  void DebugInfo(const std::wstring& text) override { debugTexts.push_back(text); }

 private:
  bool Answer(const char* slot, const char* path,
              const std::function<bool(const std::string&)>& steer, bool base);
};

// A fresh database in a temporary folder; the file types are left for the importers to
// register.
class ImportDbTest : public ::testing::Test {
 protected:
  void SetUp() override { OpenFreshDatabase(); }
  // Replaces the session by one on a new, empty database.
  void OpenFreshDatabase();

  // Creates a file of `type` at `name` (below the current folder) with one unit "u".
  CUUID MakeFile(const std::string& name, int type);
  // Information about a stored file; fails the test when it is missing.
  CNoxDbI::FileInfo Info(const CUUID& id);

  TempDir dir_;
  std::unique_ptr<CNoxDbI> session_;
  int databases_ = 0;
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

constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kBlue{0, 0, 255};
constexpr Rgb kIconGray{209, 209, 209};
constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kBlack{0, 0, 0};

// 8-bit colour of a pixel.
Rgb PixelAt(const Magick::Image& image, int x, int y);
// A picture whose top half is `top` and bottom half `bottom`.
Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom);
// A red picture with alpha whose left half is opaque and whose right half has `opacity`
// (Magick's sense: 0 opaque, MaxRGB transparent).
Magick::Image HalfTransparent(int width, int height, int opacity = TransparentOpacity);
// Photo-like pixels (smooth gradients with fine detail), `map` "RGB" or "RGBA", rows top first.
Magick::Image Photo(int width, int height, const std::string& map = "RGB");
// The token stream of `unit` of the stored file `id`, one item a word: a token as its number,
// plain values as "(W H)" for 8 bytes, "=N" for 2 or 4, "\"text\"" for a printable string, "icon WxH" for
// an icon, "<N>" for other byte counts, and "[N]" for a binary value of N bytes.
std::string StreamText(CNoxDbI& session, const CUUID& id, const std::string& unit);
// The binary value that follows `token` in `unit`; empty when there is none.
std::string BinaryAfter(CNoxDbI& session, const CUUID& id, const std::string& unit, int token);

// Runs `action` and returns what it printed to standard output.
std::string Printed(const std::function<void()>& action);

}  // namespace nox::test
