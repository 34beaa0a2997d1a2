#include "tools/ClipImport.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "import/ClipDescription.h"
#include "import/VideoClipImporter.h"

namespace nox::tools {
namespace {

// A clip importer that shows how far the copy of a large media file has come, one line
// per file, rewritten in place.
class ProgressClipImporter : public CVideoClipImporter {
 public:
  using CVideoClipImporter::CVideoClipImporter;

  // Ends a progress line that a failed copy left open.
  void EndProgress() {
    if (lineOpen_) std::fputc('\n', stderr);
    lineOpen_ = false;
  }

 protected:
  // The first packet of a file announces its whole size.
  void OnPacketToTransfer(int packet, unsigned int, unsigned long long remaining) override {
    if (packet != 0) return;
    EndProgress();
    total_ = remaining;
    shownPercent_ = -1;
    Show(0);
  }

  void OnPacketTransferred(int, unsigned int, unsigned long long sent) override { Show(sent); }

 public:
  // The media bytes the description read by CanImport asks to store.
  unsigned long long MediaBytes() const {
    unsigned long long total = 0;
    for (const std::string* path : {&description.clipPath, &description.proxyPath}) {
      struct stat st {};
      if (!path->empty() && stat(path->c_str(), &st) == 0) total += static_cast<unsigned long long>(st.st_size);
    }
    return total;
  }

 private:
  void Show(unsigned long long sent) {
    if (total_ < kProgressFrom) return;
    const int percent = static_cast<int>(sent * 100 / total_);
    if (percent == shownPercent_) return;
    shownPercent_ = percent;
    lineOpen_ = true;
    std::fprintf(stderr, "\rcopying %s: %3d%% of %.1f MB", name.c_str(), percent, total_ / 1e6);
    if (sent == total_) EndProgress();
    std::fflush(stderr);
  }


  unsigned long long total_ = 0;
  int shownPercent_ = -1;
  bool lineOpen_ = false;
};

std::string Megabytes(unsigned long long bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
  return text;
}

// Unit bytes are written once, into the database file itself; the journal and the records
// around them need a little more.
std::string SpaceShortfall(const std::string& database, unsigned long long media) {
  if (media < kProgressFrom) return "";
  struct statvfs fs {};
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::absolute(database, error).parent_path();
  if (error || statvfs(folder.c_str(), &fs) != 0) return "";
  const unsigned long long free = static_cast<unsigned long long>(fs.f_bavail) * fs.f_frsize;
  const unsigned long long need = media + media / 50 + (16u << 20);
  if (free >= need) return "";
  return "no space left on device: the import needs about " + Megabytes(need) + " and " +
         folder.string() + " has " + Megabytes(free) + " free";
}

}  // namespace

std::string ImportClip(CNoxDbI& session, const std::string& database,
                       const std::string& description, bool overwrite, CUUID* id) {
  // Media are named relative to the description's folder, which a bare file name lacks.
  std::error_code error;
  const std::string path = std::filesystem::absolute(description, error).string();
  if (error) return "cannot resolve '" + description + "': " + error.message();

  ProgressClipImporter importer(session);
  *id = CUUID();
  if (importer.CanImport(path.c_str()) != 0) {
    const std::string shortfall = SpaceShortfall(database, importer.MediaBytes());
    if (!shortfall.empty()) return shortfall;
  }
  session.SetLastError(0);
  session.LockNamesForImport(true);
  const bool imported = importer.Import(path.c_str(), overwrite, nullptr, CUUID(), id);
  session.LockNamesForImport(false);
  importer.EndProgress();
  // The file is committed as the importer lets go of it; a commit that failed shows only as
  // a storage error on the session.
  if (imported && session.GetStorageError() == 0) return "";
  if (imported) return std::string("the clip could not be stored: ") + session.GetStorageErrorStr();
  const char* text = importer.GetLastError();
  if (text == nullptr) {
    // The importer gives up on a database error without a word of its own: the database's
    // reason is the one to show.
    if (*session.GetStorageErrorStr() != '\0') {
      return "'" + description + "' could not be stored: " + session.GetStorageErrorStr();
    }
    // The importer refuses a description it cannot open without a word: say what stands in
    // the way when it is the file itself.
    const nox::import::ClipSource source = nox::import::CheckClipSource(description.c_str());
    if (source != nox::import::ClipSource::kReadable) {
      return "'" + description + "': " + nox::import::ClipSourceText(source);
    }
    return "'" + description + "' is not an importable clip description";
  }
  std::string reason = text;
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\0')) reason.pop_back();
  // The importer's words can hide what the database said, a full disk above all.
  const std::string cause = session.GetStorageErrorStr();
  if (!cause.empty() && reason.find(cause) == std::string::npos) reason += ": " + cause;
  return reason;
}

}  // namespace nox::tools
