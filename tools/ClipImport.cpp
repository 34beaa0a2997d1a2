#include "tools/ClipImport.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

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

}  // namespace

std::string ImportClip(CNoxDbI& session, const std::string& description, bool overwrite,
                       CUUID* id) {
  // Media are named relative to the description's folder, which a bare file name lacks.
  std::error_code error;
  const std::string path = std::filesystem::absolute(description, error).string();
  if (error) return "cannot resolve '" + description + "': " + error.message();

  ProgressClipImporter importer(session);
  *id = CUUID();
  const bool imported = importer.Import(path.c_str(), overwrite, nullptr, CUUID(), id);
  importer.EndProgress();
  if (imported) return "";
  const char* text = importer.GetLastError();
  if (text == nullptr) return "'" + description + "' is not an importable clip description";
  std::string reason = text;
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\0')) reason.pop_back();
  return reason;
}

}  // namespace nox::tools
