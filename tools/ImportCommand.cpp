#include "tools/ImportCommand.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "import/ImageImporter.h"
#include "tools/ImportFiles.h"

namespace nox::tools {
namespace {

std::string Megabytes(uint64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
  return text;
}

// Shows how far the run has come on standard error: a bar rewritten in place on a
// terminal, one plain line per file otherwise.
class Progress {
 public:
  explicit Progress(const std::vector<ImportItem>& items)
      : terminal_(isatty(STDERR_FILENO) == 1), start_(std::chrono::steady_clock::now()) {
    for (const ImportItem& item : items) total_ += item.bytes;
    count_ = items.size();
  }

  void Started(const ImportItem& item) {
    current_ = item.path;
    if (terminal_) Draw();
  }

  void Finished(const ImportResult& r, size_t finished) {
    finished_ = finished;
    bytes_ += r.bytes;
    if (terminal_) return Draw();
    const char* verb = r.outcome == ImportResult::Imported    ? "imported"
                       : r.outcome == ImportResult::Duplicate ? "skipped"
                                                              : "failed";
    const char* joint = r.outcome == ImportResult::Imported    ? " as "
                        : r.outcome == ImportResult::Duplicate ? ", a duplicate of "
                                                               : ": ";
    std::fprintf(stderr, "[%zu/%zu] %s %s%s%s\n", finished, count_, verb, r.path.c_str(), joint,
                 r.detail.c_str());
  }

  void End() {
    if (terminal_ && count_ != 0) std::fputs("\r\033[K", stderr);
  }

  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  void Draw() const {
    constexpr int kWidth = 24;
    const int filled = count_ == 0 ? kWidth : static_cast<int>(kWidth * finished_ / count_);
    const double seconds = Seconds();
    std::string name = current_.substr(current_.find_last_of('/') + 1);
    if (name.size() > 32) name = "..." + name.substr(name.size() - 29);
    std::fprintf(stderr, "\r[%s%s] %zu/%zu files  %s of %s  %.1f files/s  %s\033[K",
                 std::string(filled, '#').c_str(), std::string(kWidth - filled, '.').c_str(),
                 finished_, count_, Megabytes(bytes_).c_str(), Megabytes(total_).c_str(),
                 seconds > 0 ? finished_ / seconds : 0.0, name.c_str());
    std::fflush(stderr);
  }

  const bool terminal_;
  const std::chrono::steady_clock::time_point start_;
  size_t count_ = 0, finished_ = 0;
  uint64_t total_ = 0, bytes_ = 0;
  std::string current_;
};

// Counts the outcomes and prints the summary; the exit status.
int Summarise(const std::vector<ImportResult>& results, double seconds) {
  size_t counts[3] = {0, 0, 0};
  for (const ImportResult& r : results) ++counts[r.outcome];
  for (const ImportResult& r : results) {
    if (r.outcome == ImportResult::Imported) {
      std::printf("imported %s  %s\n", r.uuid.ToString().c_str(), r.detail.c_str());
    }
  }
  std::fflush(stdout);
  std::fprintf(stderr, "imported: %zu\nskipped as duplicates: %zu\nfailed: %zu\n",
               counts[ImportResult::Imported], counts[ImportResult::Duplicate],
               counts[ImportResult::Failed]);
  for (const ImportResult& r : results) {
    if (r.outcome == ImportResult::Failed) std::fprintf(stderr, "  %s: %s\n", r.path.c_str(), r.detail.c_str());
  }
  std::fprintf(stderr, "%zu files in %.1f s\n", results.size(), seconds);
  return counts[ImportResult::Failed] == 0 ? kExitOk : kExitFailure;
}

}  // namespace

void AddImport(CLI::App& app, Commands& commands, const Options& options) {
  auto* cmd = app.add_subcommand("import", "import pictures and clip descriptions, files and folders");
  static ImportSettings settings;
  static bool dxt1 = false, dxt5 = false, automatic = false, mipmaps = false, keepOriginal = false,
              storeOriginal = false;
  settings.jobs = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  cmd->add_option("PATH", settings.inputs, "files and folders to import")->required();
  cmd->add_option("--into", settings.into, "database folder to import into (made when missing)");
  // One value per --keyword, so that the paths behind it stay paths.
  cmd->add_option("--keyword", settings.keywords, "a keyword for every imported file (repeatable)")
      ->allow_extra_args(false);
  cmd->add_option("--filter", settings.filter, "patterns for files in folders, e.g. '*.png;*.jpg'");
  cmd->add_flag("--recursive", settings.recursive, "walk subfolders too");
  auto* d1 = cmd->add_flag("--dxt1", dxt1, "store pictures DXT1-compressed");
  auto* d5 = cmd->add_flag("--dxt5", dxt5, "store pictures DXT5-compressed");
  auto* da = cmd->add_flag("--auto", automatic, "DXT5 for pictures with alpha, DXT1 for the others");
  d1->excludes(d5)->excludes(da);
  d5->excludes(da);
  cmd->add_flag("--mipmaps", mipmaps, "store mipmap levels of compressed pictures");
  cmd->add_flag("--keep-original", keepOriginal, "compressed pictures keep their plain pixels too");
  cmd->add_flag("--store-original", storeOriginal, "keep each picture's pixels as they came");
  cmd->add_flag("--overwrite", settings.overwrite, "replace files of the same name");
  cmd->add_flag("--skip-duplicates", settings.skipDuplicates, "skip files whose content the database holds");
  cmd->add_option("--jobs", settings.jobs, "files imported at once (default: the number of cores)")
      ->check(CLI::Range(1, 256));
  commands.Add(cmd, noxdb::OpenMode::Create, [&options](CNoxDbI&) {
    settings.flags = dxt1        ? CImageImporter::CompressionDXT1
                     : dxt5      ? CImageImporter::CompressionDXT5
                     : automatic ? CImageImporter::CompressionAuto
                                 : CImageImporter::CompressionNone;
    if (mipmaps) settings.flags |= CImageImporter::MipmapsBit;
    if (keepOriginal) settings.flags |= CImageImporter::KeepOriginalBit;
    if (storeOriginal) settings.flags |= CImageImporter::StoreOriginalBit;

    std::vector<ImportResult> results;
    const std::vector<ImportItem> items = CollectFiles(settings, &results);
    Progress progress(items);
    {
      LibraryOutput quiet(options.verbose);
      const std::vector<ImportResult> imported = ImportFiles(
          options.database, settings, items, [&](const ImportItem& item) { progress.Started(item); },
          [&](const ImportResult& r, size_t finished) { progress.Finished(r, finished); });
      results.insert(results.end(), imported.begin(), imported.end());
    }
    progress.End();
    return Summarise(results, progress.Seconds());
  });
}

}  // namespace nox::tools
