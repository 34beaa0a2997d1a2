#pragma once
// The work of `noxdb import`: finding the files to import under the paths given, and
// importing them on several workers, each with its own importers and its own session on the
// database. Pictures and clip descriptions are told apart per file by the library's
// selecting import manager.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "import/db/Database.h"

namespace nox::tools {

struct ImportSettings {
  std::vector<std::string> inputs;    // files and folders
  std::string into;                   // database folder (created when missing); empty: the root
  std::vector<std::string> keywords;  // inserted into every new file
  std::string filter;                 // patterns with * and ? separated by ';'; empty: every file
  bool recursive = false;             // walk subfolders of the folders given
  unsigned long flags = 0;            // the image importer's option word
  bool overwrite = false;             // reuse the file of the same name
  bool skipDuplicates = false;        // leave out files whose checksum the database holds
  int jobs = 1;                       // workers
};

struct ImportItem {
  std::string path;
  uint64_t bytes = 0;
};

struct ImportResult {
  enum Outcome { Imported, Duplicate, Failed };
  std::string path;
  Outcome outcome = Failed;
  // Imported: the stored file's name; Duplicate: the name of the file it duplicates;
  // Failed: the reason.
  std::string detail;
  CUUID uuid;
  uint64_t bytes = 0;
};

// The files to import, in a repeatable order: files as given, and the entries of folders
// that match the filter (walking subfolders when asked). Files that a clip description among
// them names (its clip, proxy and thumbnail) belong to that clip and are left out. A path
// that does not exist is reported in `missing` as a failure.
std::vector<ImportItem> CollectFiles(const ImportSettings& settings, std::vector<ImportResult>* missing);

// Called after each file, one call at a time, with the number of files finished so far.
using ImportProgress = std::function<void(const ImportResult& result, size_t finished)>;
// Called when a worker starts a file.
using ImportStart = std::function<void(const ImportItem& item)>;

// Imports `items` into the database at `database` on settings.jobs workers. A file that
// cannot be read, is damaged or of an unknown kind is reported and leaves nothing behind;
// the other files go on. Returns one result per item, in the order of `items`. Throws
// Failure when the database cannot be opened or the destination folder made.
std::vector<ImportResult> ImportFiles(const std::string& database, const ImportSettings& settings,
                                      const std::vector<ImportItem>& items,
                                      const ImportStart& started, const ImportProgress& progress);

}  // namespace nox::tools
