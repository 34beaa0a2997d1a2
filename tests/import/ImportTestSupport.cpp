#include "tests/import/ImportTestSupport.h"

#include <ostream>

#include "import/MagickInit.h"

namespace nox::test {

std::vector<std::string> TestImporter::CallsOf(const std::string& slot) const {
  std::vector<std::string> paths;
  const std::string prefix = slot + ":";
  for (const auto& call : calls) {
    if (call.compare(0, prefix.size(), prefix) == 0) paths.push_back(call.substr(prefix.size()));
  }
  return paths;
}

bool TestImporter::Answer(const char* slot, const char* path,
                          const std::function<bool(const std::string&)>& steer, bool base) {
  const std::string text = path ? path : "(null)";
  calls.push_back(std::string(slot) + ":" + text);
  return steer ? steer(text) : base;
}

int TestImporter::CanImport(const char* path) {
  calls.push_back(std::string("CanImport:") + (path ? path : "(null)"));
  return canImport ? canImport(path ? path : "") : CImporterBase::CanImport(path);
}

bool TestImporter::doImport(const char* path, bool overwrite, CNOFChecksum* checksum,
                            const CUUID* folder, CUUID* uuid, bool createWithUuid) {
  calls.push_back(std::string("doImport:") + path);
  lastOverwrite = overwrite;
  lastChecksum = checksum;
  lastFolder = folder;
  lastUuid = uuid;
  lastCreateWithUuid = createWithUuid;
  return importResult;
}

bool TestImporter::loadFile(const char* path) {
  calls.push_back(std::string("loadFile:") + path);
  return loadResult;
}

bool TestImporter::OnImport(const char* path) {
  return Answer("OnImport", path, onImport, CImporterBase::OnImport(path));
}

bool TestImporter::OnImportFailed(const char* path) {
  return Answer("OnImportFailed", path, onImportFailed, CImporterBase::OnImportFailed(path));
}

bool TestImporter::OnFileLoaded(const char* path) {
  return Answer("OnFileLoaded", path, onFileLoaded, CImporterBase::OnFileLoaded(path));
}

bool TestImporter::AddSpecialUnits(CNDBFile& file) {
  for (const auto& unit : specialUnits) file.AddAttribute(unit.c_str(), nullptr);
  return specialUnitsResult;
}

void ImportDbTest::OpenFreshDatabase() {
  const std::string path = dir_.File("media" + std::to_string(++databases_) + ".noxdb");
  session_ = std::make_unique<CNoxDbI>(path.c_str());
  ASSERT_TRUE(session_->IsValid()) << session_->GetLastErrorStr();
}

CUUID ImportDbTest::MakeFile(const std::string& fileName, int type) {
  if (!session_->ExistFileType(type)) {
    EXPECT_TRUE(session_->CreateFileType(type, type == kClipType ? "VIDEO_CLIP" : "IMAGE", false));
  }
  CNDBFile file(session_.get());
  file.AddAttribute("u", nullptr);
  EXPECT_EQ(file.Create(fileName.c_str(), type, 1, 0xFFF, nullptr, 0), 0)
      << session_->GetLastErrorStr();
  EXPECT_EQ(file.SelectUnit("u", 0, false), 0);
  file << TOK::FileToken(100) << std::string("old") << TOK::Closing(TOK::FileToken(100));
  return file.GetUuid();
}

CNoxDbI::FileInfo ImportDbTest::Info(const CUUID& id) {
  CNoxDbI::FileInfo info;
  EXPECT_EQ(session_->GetFileInfo(id, &info), 0) << "no file " << id.ToString();
  return info;
}

void MagickTest::SetUp() { nox::import::EnsureMagickInitialized(); }

void PrintTo(const Rgb& c, std::ostream* os) {
  *os << "(" << c.r << "," << c.g << "," << c.b << ")";
}

Rgb PixelAt(const Magick::Image& image, int x, int y) {
  const Magick::Color c = image.pixelColor(x, y);
  return {c.redQuantum(), c.greenQuantum(), c.blueQuantum()};
}

Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom) {
  Magick::Image image(Magick::Geometry(width, height), Magick::Color(bottom));
  image.fillColor(Magick::Color(top));
  image.draw(Magick::DrawableRectangle(0, 0, width - 1, height / 2 - 1));
  return image;
}

Magick::Image HalfTransparent(int width, int height, int opacity) {
  Magick::Image image(Magick::Geometry(width, height), Magick::Color("red"));
  image.matte(true);
  image.modifyImage();
  for (int y = 0; y < height; ++y) {
    for (int x = width / 2; x < width; ++x) {
      image.pixelColor(x, y, Magick::Color(MaxRGB, 0, 0, opacity));
    }
  }
  return image;
}

std::string Printed(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

}  // namespace nox::test
