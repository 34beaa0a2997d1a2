#include "tools/ImportFiles.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <thread>

#include "db/storage/Store.h"
#include "import/DirectorySearch.h"
#include "import/ImportManager.h"
#include "import/MagickInit.h"
#include "tools/Command.h"
#include "util/Utf8.h"

namespace nox::tools {
namespace {

namespace fs = std::filesystem;

// The file types the importers register on first use. Registered up front, so that workers
// starting at the same moment do not race to create them.
constexpr struct {
  int type;
  const char* name;
} kFileTypes[] = {{49, "IMAGE"}, {248, "VIDEO_CLIP"}};

constexpr int kClipType = 3;
// The engine waits for other writers; should a busy answer get through anyway, the file is
// tried again this many times.
constexpr int kBusyRetries = 5;

// Reads a clip description without importing it, to learn the media files it names.
class ClipProbe : public CVideoClipImporter {
 public:
  // The clip, proxy and thumbnail named by the importable description at `path`; empty when
  // the file is no importable description.
  std::vector<std::string> MediaOf(const std::string& path) {
    if (CanImport(path.c_str()) == 0) return {};
    std::vector<std::string> media;
    for (const std::string* p : {&description.clipPath, &description.proxyPath, &description.thumbnailPath}) {
      if (!p->empty()) media.push_back(*p);
    }
    return media;
  }
  // The clip file of the description at `path`: what the clip importer digests.
  std::string ClipOf(const std::string& path) {
    return CanImport(path.c_str()) != 0 ? description.clipPath : std::string();
  }
};

std::string Key(const std::string& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return error ? path : canonical.string();
}

std::vector<std::wstring> Patterns(const std::string& filter) {
  std::vector<std::wstring> patterns;
  size_t start = 0;
  while (start <= filter.size()) {
    const size_t end = std::min(filter.find(';', start), filter.size());
    if (end > start) patterns.push_back(util::Utf8ToWide(filter.substr(start, end - start)));
    start = end + 1;
  }
  if (patterns.empty()) patterns.push_back(L"*.*");
  return patterns;
}

class Collector {
 public:
  Collector(const ImportSettings& settings, std::vector<ImportResult>* missing)
      : settings_(settings), patterns_(Patterns(settings.filter)), missing_(missing) {}

  void Add(const std::string& path, bool given) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error || !fs::exists(status)) {
      Fail(path, "no such file or folder");
    } else if (fs::is_directory(status)) {
      if (given || settings_.recursive) Walk(path);
    } else if (given || Matches(fs::path(path).filename().string())) {
      if (seen_.insert(Key(path)).second) files_.push_back(path);
    }
  }

  std::vector<std::string>& files() { return files_; }

 private:
  bool Matches(const std::string& name) const {
    const std::wstring wide = util::Utf8ToWide(name);
    return std::any_of(patterns_.begin(), patterns_.end(),
                       [&](const std::wstring& p) { return import::WildcardMatch(p, wide); });
  }

  // Entries in byte order of their names, so that runs are repeatable.
  void Walk(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
      names.push_back(it->path().filename().string());
    }
    if (error) return Fail(folder, "cannot read the folder: " + error.message());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) Add((fs::path(folder) / name).string(), false);
  }

  void Fail(const std::string& path, const std::string& reason) {
    ImportResult r;
    r.path = path;
    r.detail = reason;
    missing_->push_back(r);
  }

  const ImportSettings& settings_;
  const std::vector<std::wstring> patterns_;
  std::vector<ImportResult>* missing_;
  std::vector<std::string> files_;
  std::set<std::string> seen_;
};

uint64_t SizeOf(const std::string& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  return error ? 0 : size;
}

// The reason an import failed, in one line.
std::string Reason(const CImporterBase* importer, const CNoxDbI& session) {
  const char* text = importer != nullptr ? importer->GetLastError() : nullptr;
  std::string reason = text != nullptr ? text : "";
  // Library texts end in a line break, some in ": " before a detail they do not have.
  constexpr std::string_view kTrailing("\n\0 :", 4);
  while (!reason.empty() && kTrailing.find(reason.back()) != std::string_view::npos) reason.pop_back();
  const std::string cause = session.GetStorageErrorStr();
  if (!cause.empty() && reason.find(cause) == std::string::npos) {
    reason += (reason.empty() ? "" : ": ") + cause;
  }
  if (reason.empty() && session.GetLastError() != 0) reason = session.GetLastErrorStr();
  return reason.empty() ? "could not be imported" : reason;
}

// Claims checksums for this run, so that two copies of one file imported at the same moment
// are seen as duplicates too.
class DuplicateClaims {
 public:
  // Empty when the content is new (and now claimed); else the name of what it duplicates.
  std::string Claim(CNoxDbI& session, const CNOFChecksum& checksum, const std::string& path) {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string key = checksum.hexdigest();
    if (const auto it = claimed_.find(key); it != claimed_.end()) return it->second;
    std::vector<CUUID> files;
    CNoxDbI::FileInfo info;
    if (session.FindFilesByChecksum(checksum, &files) == 0 && !files.empty() &&
        session.GetFileInfo(files.front(), &info) == 0) {
      return info.folderPath.empty() || info.folderPath == "/" ? info.name : info.folderPath + "/" + info.name;
    }
    claimed_.emplace(key, path);
    return "";
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> claimed_;
};

class Worker {
 public:
  Worker(const std::string& database, const ImportSettings& settings, const CUUID& folder,
         DuplicateClaims& claims)
      : settings_(settings), session_(database.c_str(), noxdb::OpenMode::Existing), claims_(claims),
        manager_(session_, settings.flags) {
    if (!session_.IsValid()) Fail(session_.GetLastErrorStr());
    session_.SetCurrentFolder(folder);
    manager_.SetKeywords(settings.keywords);
  }

  ImportResult Import(const ImportItem& item) {
    ImportResult result;
    result.path = item.path;
    result.bytes = item.bytes;
    try {
      Run(item.path, result);
    } catch (const std::exception& e) {
      // Magick exceptions of the image probe and of the icons come here.
      Failed(result, e.what());
    } catch (...) {
      Failed(result, "unexpected failure");
    }
    return result;
  }

 private:
  static void Failed(ImportResult& result, const std::string& reason) {
    result.outcome = ImportResult::Failed;
    result.detail = reason;
  }

  void Run(const std::string& path, ImportResult& result) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return Failed(result, std::string("cannot open: ") + std::strerror(errno));
    std::fclose(file);
    const CImporterBase* importer = manager_.GetImporter(path.c_str());
    if (importer == nullptr) return Failed(result, manager_.GetLastError());

    // The importers digest only what they read from disk themselves; the tool's digest also
    // covers pictures read by the format handlers.
    CNOFChecksum checksum;
    const std::string digested = importer->Type() == kClipType ? probe_.ClipOf(path) : path;
    if (FILE* source = digested.empty() ? nullptr : std::fopen(digested.c_str(), "rb")) {
      checksum.calcChecksum(source);
      std::fclose(source);
    }
    const bool digestedOk = checksum.finalized();
    if (settings_.skipDuplicates && digestedOk) {
      const std::string original = claims_.Claim(session_, checksum, path);
      if (!original.empty()) {
        result.outcome = ImportResult::Duplicate;
        result.detail = original;
        return;
      }
    }

    for (int attempt = 0;; ++attempt) {
      session_.SetLastError(0);
      CUUID id;
      // Choosing a free name and creating the file are one step among concurrent importers.
      session_.LockNamesForImport(true);
      const int done = manager_.Import(path.c_str(), settings_.overwrite, digestedOk ? &checksum : nullptr,
                                       nullptr, &id);
      session_.LockNamesForImport(false);
      const CImporterBase* chosen = manager_.CurrentImporter();
      if (done == 1) {
        CNoxDbI::FileInfo info;
        result.outcome = ImportResult::Imported;
        result.uuid = id;
        result.detail = session_.GetFileInfo(id, &info) == 0 ? info.name : id.ToString();
        return;
      }
      const bool busy = session_.GetLastError() == CNDBConstants::eSessionBusy ||
                        (chosen != nullptr && chosen->GetLastErrorCode() == CNDBConstants::eSessionBusy);
      if (!busy || attempt == kBusyRetries) return Failed(result, Reason(chosen, session_));
      std::this_thread::sleep_for(std::chrono::milliseconds(50 << attempt));
    }
  }

  const ImportSettings& settings_;
  CNoxDbI session_;
  DuplicateClaims& claims_;
  CSelectingImportManager manager_;
  ClipProbe probe_;
};

CUUID DestinationFolder(const std::string& database, const std::string& into) {
  CNoxDbI session(database.c_str(), noxdb::OpenMode::Existing);
  if (!session.IsValid()) Fail(session.GetLastErrorStr());
  for (const auto& t : kFileTypes) {
    if (!session.ExistFileType(t.type) && !session.CreateFileType(t.type, t.name, false) &&
        !session.ExistFileType(t.type)) {
      Fail(std::string("cannot register the file type ") + t.name + ": " + session.GetLastErrorStr());
    }
  }
  CUUID folder = session.GetRootFolder();
  if (!into.empty() && session.CreateFolder(into.c_str(), &folder) != 0) {
    Fail("cannot make the folder '" + into + "': " + session.GetLastErrorStr());
  }
  return folder;
}

}  // namespace

std::vector<ImportItem> CollectFiles(const ImportSettings& settings, std::vector<ImportResult>* missing) {
  // Clip descriptions are judged with Magick, which needs its one set-up first.
  import::EnsureMagickInitialized();
  Collector collector(settings, missing);
  for (const std::string& input : settings.inputs) collector.Add(input, true);

  // A clip's media and thumbnail are imported with the clip, not on their own.
  ClipProbe probe;
  std::set<std::string> media;
  for (const std::string& path : collector.files()) {
    for (const std::string& m : probe.MediaOf(path)) media.insert(Key(m));
  }
  std::vector<ImportItem> items;
  for (const std::string& path : collector.files()) {
    if (media.count(Key(path)) == 0) items.push_back({path, SizeOf(path)});
  }
  return items;
}

std::vector<ImportResult> ImportFiles(const std::string& database, const ImportSettings& settings,
                                      const std::vector<ImportItem>& items,
                                      const ImportStart& started, const ImportProgress& progress) {
  import::EnsureMagickInitialized();
  const CUUID folder = DestinationFolder(database, settings.into);
  const size_t jobs = std::clamp<size_t>(settings.jobs, 1, std::max<size_t>(items.size(), 1));
  DuplicateClaims claims;
  // Sessions open here, so that a database that cannot be opened ends the command at once.
  std::vector<std::unique_ptr<Worker>> workers;
  for (size_t i = 0; i < jobs; ++i) workers.push_back(std::make_unique<Worker>(database, settings, folder, claims));

  std::vector<ImportResult> results(items.size());
  std::atomic<size_t> next{0};
  std::mutex report;
  size_t finished = 0;
  const auto work = [&](Worker& worker) {
    for (size_t i; (i = next++) < items.size();) {
      if (started) {
        std::lock_guard<std::mutex> lock(report);
        started(items[i]);
      }
      results[i] = worker.Import(items[i]);
      std::lock_guard<std::mutex> lock(report);
      ++finished;
      if (progress) progress(results[i], finished);
    }
  };
  std::vector<std::thread> threads;
  for (size_t i = 1; i < jobs; ++i) threads.emplace_back(work, std::ref(*workers[i]));
  work(*workers[0]);
  for (std::thread& t : threads) t.join();
  return results;
}

}  // namespace nox::tools
