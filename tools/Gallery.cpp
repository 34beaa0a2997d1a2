#include "tools/Gallery.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

#include "import/ImageImporter.h"
#include "tools/GalleryPage.h"
#include "tools/ImageCommands.h"
#include "tools/ImageRecord.h"

namespace nox::tools {
namespace {

namespace fs = std::filesystem;

// Below this many files the page is written before anyone would wait for it.
constexpr size_t kProgressFrom = 50;

// Every file of the database, folder by folder from the top, each folder's files by name.
std::vector<CNoxDbI::FileInfo> AllFiles(CNoxDbI& session) {
  std::vector<CNoxDbI::FileInfo> all;
  std::vector<CUUID> pending{session.GetRootFolder()};
  std::set<std::string> seen;  // a damaged tree may loop
  while (!pending.empty()) {
    const CUUID folder = pending.back();
    pending.pop_back();
    if (!seen.insert(folder.ToString()).second) continue;
    std::vector<CNoxDbI::FolderInfo> folders;
    std::vector<CNoxDbI::FileInfo> files;
    if (session.ListFolder(folder, &folders, &files) != 0) Fail(session.GetLastErrorStr());
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    all.insert(all.end(), files.begin(), files.end());
    // Reversed onto the stack, so that they come off it by name.
    std::sort(folders.begin(), folders.end(), [](const auto& a, const auto& b) { return a.name > b.name; });
    for (const auto& f : folders) pending.push_back(f.uuid);
  }
  return all;
}

const CNoxDbI::UnitInfo* FindUnit(const CNoxDbI::FileInfo& info, const std::string& name) {
  for (const auto& u : info.units) {
    if (u.name == name) return &u;
  }
  return nullptr;
}

std::string PathOf(const CNoxDbI::FileInfo& info) {
  return info.folderPath + (info.folderPath == "/" ? "" : "/") + info.name;
}

// "640x480, 1234567 bytes": the picture's size when its data unit records one.
std::string SizeText(const CNoxDbI::FileInfo& info) {
  const CNoxDbI::UnitInfo* data = FindUnit(info, CNDBFile::UNIT_DATA);
  const std::string bytes = std::to_string(info.bytes) + " bytes";
  if (data == nullptr || !data->hasSize) return bytes;
  return std::to_string(data->width) + "x" + std::to_string(data->height) + ", " + bytes;
}

// "DXT5, 7 levels, plain pixels kept", "none", or empty for a file whose data unit holds no
// image record.
std::string CompressionText(CNDBFile& file, const CNoxDbI::FileInfo& info) {
  ImageRecord record;
  if (FindUnit(info, CNDBFile::UNIT_DATA) == nullptr || !ReadImageRecord(file, CNDBFile::UNIT_DATA, &record) ||
      record.format == 0) {
    return "";
  }
  std::string text = CompressionName(record.compression);
  int levels = 0;
  while (FindUnit(info, CImageImporter::levelName(levels)) != nullptr) ++levels;
  // A chain runs down to 1x1 from at least 4x4, so it never has a single level.
  if (levels > 0) text += ", " + std::to_string(levels) + " levels";
  if (record.compression != 0 && !record.pixels.empty()) text += ", plain pixels kept";
  if (FindUnit(info, CImageImporter::UNIT_ORIGINAL) != nullptr) text += ", source layout kept";
  return text;
}

// The item of one file, its icons exported into `out`; a failure to read or export is
// added to `failures` and leaves the picture out.
GalleryItem Describe(CNoxDbI& session, const CNoxDbI::FileInfo& info, const fs::path& out,
                     std::vector<std::string>* failures) {
  GalleryItem item{info.uuid.ToString(), info.name, info.folderPath,
                   info.typeName.empty() ? std::to_string(info.type) : info.typeName,
                   SizeText(info), info.checksum, "", info.keywords, "", ""};
  CNDBFile file(&session);
  if (file.Open(info.uuid, CNDBFile::kModeRead, -1, nullptr, 0) != 0) {
    failures->push_back(PathOf(info) + ": " + session.GetLastErrorStr());
    return item;
  }
  item.compression = CompressionText(file, info);
  // Named by identifier: a name may hold any character, an identifier only safe ones.
  const struct {
    const char* unit;
    const char* suffix;
    std::string* exported;
  } icons[] = {{CNDBFile::UNIT_ICON_SMALL, ".png", &item.icon}, {CNDBFile::UNIT_ICON_LARGE, ".large.png", &item.largeIcon}};
  for (const auto& icon : icons) {
    if (FindUnit(info, icon.unit) == nullptr) continue;
    try {
      ExportIcon(file, icon.unit, (out / (item.id + icon.suffix)).string());
      *icon.exported = item.id + icon.suffix;
    } catch (const Failure& f) {
      failures->push_back(PathOf(info) + ": " + f.message);
    }
  }
  return item;
}

// How far the export has come, on standard error for databases large enough to wait for:
// rewritten in place on a terminal, a line every tenth otherwise.
void ShowProgress(size_t done, size_t total) {
  if (total < kProgressFrom) return;
  if (isatty(STDERR_FILENO) == 1) {
    std::fprintf(stderr, "\rgallery: %zu/%zu files\033[K%s", done, total, done == total ? "\n" : "");
  } else if (done * 10 / total != (done - 1) * 10 / total) {
    std::fprintf(stderr, "gallery: %zu/%zu files\n", done, total);
  }
}

void WritePage(const fs::path& path, const std::string& page) {
  // Written aside and renamed, so that a page that is there is whole.
  const fs::path temporary = path.string() + ".tmp";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << page;
    if (!file.flush()) Fail("cannot write '" + temporary.string() + "'");
  }
  std::error_code error;
  fs::rename(temporary, path, error);
  if (error) Fail("cannot write '" + path.string() + "': " + error.message());
}

}  // namespace

void AddGallery(CLI::App& app, Commands& commands, const Options& options) {
  auto* cmd = app.add_subcommand("gallery", "write an HTML page of every file with its icons");
  static std::string out;
  cmd->add_option("OUT_FOLDER", out, "the folder for index.html and the icons (made when missing)")->required();
  commands.Add(cmd, noxdb::OpenMode::ReadOnly, [&options](CNoxDbI& session) {
    std::error_code error;
    fs::create_directories(out, error);
    if (error) Fail("cannot make the folder '" + out + "': " + error.message());
    const std::vector<CNoxDbI::FileInfo> files = AllFiles(session);
    std::vector<GalleryItem> items;
    std::vector<std::string> failures;
    for (const auto& info : files) {
      items.push_back(Describe(session, info, out, &failures));
      ShowProgress(items.size(), files.size());
    }
    const fs::path page = fs::path(out) / "index.html";
    WritePage(page, GalleryPage("Gallery of " + fs::path(options.database).filename().string(), items));
    for (const std::string& failure : failures) std::fprintf(stderr, "noxdb: %s\n", failure.c_str());
    std::fprintf(stderr, "gallery of %zu files in %s\n", items.size(), page.string().c_str());
    return failures.empty() ? kExitOk : kExitFailure;
  });
}

}  // namespace nox::tools
