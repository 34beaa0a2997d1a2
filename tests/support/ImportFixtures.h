#pragma once
// The importers' tests against a real database: an importer whose slots can be steered and
// observed, a clip importer that records its packets, description files, pictures made with
// GraphicsMagick, and readers of what a stored file holds.

#include <Magick++.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "import/ImporterBase.h"
#include "import/VideoClipImporter.h"
#include "tests/support/DbFixture.h"
#include "tests/support/MediaFiles.h"

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

// A clip importer that records ">packet size remaining" before and "=packet size sent" after
// each packet.
class ClipImporter : public CVideoClipImporter {
 public:
  using CVideoClipImporter::CVideoClipImporter;
  using CVideoClipImporter::description;
  using CVideoClipImporter::name;

  std::vector<std::string> packets;
  // Runs after each transferred packet, e.g. to change the source under the copy.
  std::function<void(int packet)> afterPacket;
  // Runs when the unit list is made, between the two loads of the thumbnail.
  std::function<void()> onUnits;

 protected:
  void OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) override;
  void OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) override;
  bool AddSpecialUnits(CNDBFile& file) override;
};

// The fields of a description, as (name, value) in document order.
using Fields = std::vector<std::pair<std::string, std::string>>;
// `fields` with `name` set to `value`, appended when it is not there; or without `name`.
Fields With(Fields fields, const std::string& name, const std::string& value);
Fields Without(Fields fields, const std::string& name);
// A complete clip: clip "clip.bin", thumbnail "thumb.png", a name and the details.
Fields CompleteFields();

using io::Rgb;
constexpr Rgb kRed{255, 0, 0}, kBlue{0, 0, 255}, kIconGray{209, 209, 209}, kWhite{255, 255, 255}, kBlack{0, 0, 0};

// 8-bit colour of a pixel.
Rgb PixelAt(const Magick::Image& image, int x, int y);
// A picture whose top half is `top` and bottom half `bottom`.
Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom);
// Photo-like pixels (smooth gradients with a little noise), `map` "RGB" or "RGBA" (alpha
// falling from 255 at the top).
Magick::Image Photo(int width, int height, const std::string& map = "RGB");
// The pixels of `image` in `map`, rows bottom first as the importers store them.
std::string BottomUp(const Magick::Image& image, const std::string& map);

// The token stream of `unit` of the stored file `id`, one item a word: a token as its number,
// plain values as "(W H)" for 8 bytes, "{W H}" for two 64-bit numbers, "=N" for 1, 2 or 4
// bytes, "\"text\"" for a printable string, "icon WxH" for an icon, "<N>" for other byte
// counts, and "[N]" for a binary value of N bytes.
std::string StreamText(CNoxDbI& session, const CUUID& id, const std::string& unit);
// The bytes of the last value (plain or binary) that follows the first `token` in `unit`;
// empty when there is none.
std::string ValueAfter(CNoxDbI& session, const CUUID& id, const std::string& unit, int token);

// The MD5 digest of `bytes` in hexadecimal, as files carry it.
std::string Md5(const std::string& bytes);

// Runs `action` and returns what it printed to standard output.
std::string Printed(const std::function<void()>& action);

// A fresh database in a temporary folder with the two file types, Magick initialised, and a
// clip importer on the database.
class ImportDbTest : public DbTest {
 protected:
  void SetUp() override;
  using DbTest::MakeFile;
  // A file of `type` at `name` (below the current folder) with one unit "u".
  CUUID MakeFile(const std::string& name, int type) { return MakeFile(name, type, {"u"}); }
  // Information about a stored file; fails the test when it is missing.
  CNoxDbI::FileInfo Info(const CUUID& id);
  // "name WxH" of each unit, " empty" after one without bytes; names alone without `sizes`.
  std::string Layout(const CUUID& id, bool sizes = true);
  std::string Stream(const CUUID& id, const std::string& unit = CNDBFile::UNIT_DATA) {
    return StreamText(*session_, id, unit);
  }
  std::string ValueAfter(const CUUID& id, const std::string& unit, int token) {
    return test::ValueAfter(*session_, id, unit, token);
  }
  // All files stored in the root folder.
  std::vector<CNoxDbI::FileInfo> Files();

  // Writes a description of `fields` with an optional mode element.
  std::string WriteDescription(const std::string& file, const Fields& fields, const std::string& mode = "");
  // A PNG whose top half is red and bottom half blue.
  std::string WriteThumbnail(const std::string& file, int width, int height);
  // Pseudo-random bytes in a file, returned.
  std::string WriteMedia(const std::string& file, size_t size, uint32_t seed);
  // Imports the description at `path` with `importer` (default: clip_); the identifier goes
  // to `id`.
  bool ImportClip(const std::string& path, CUUID* id, bool overwrite = false, ClipImporter* importer = nullptr);
  // Imports the picture at `path` with the image importer's `settings`: the new file, or a
  // null identifier. What it printed and its error are kept in printed_, error_ and code_.
  CUUID ImportPicture(const std::string& path, uint32_t settings = 0);

  std::unique_ptr<ClipImporter> clip_;
  std::string printed_, error_;
  int code_ = 0;
};

}  // namespace nox::test
