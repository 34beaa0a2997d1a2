// CImporterBase: reading a file into a Magick image, with the fixed table of caught
// Magick exceptions.

#include <Magick++.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "import/ImporterBase.h"
#include "import/MagickErrorTable.h"
#include "import/MagickInit.h"
#include "util/Utf8.h"

namespace {
constexpr int kMissingFileCode = 9;
constexpr int kInvalidImageCode = 8;
}  // namespace

bool CImporterBase::loadImage(Magick::Image& image, const char* path, bool flip) {
  nox::import::EnsureMagickInitialized();
  // Files are reached through the wide form of their path, as everywhere in the importers.
  const std::string onDisk = nox::util::WideToUtf8(nox::util::Utf8ToWide(path ? path : ""));
  std::error_code error;
  if (!std::filesystem::exists(onDisk, error)) {
    SetLastError(kMissingFileCode, "File %s does not exist\n", path ? path : "(null)");
    return false;
  }

  bool ok = false;
  try {
    image.read(path);
    ok = true;
  } catch (const Magick::Exception& e) {
    // Only a warning of corruption and a warning the table does not name still load.
    const nox::import::MagickClause& clause = nox::import::FindMagickClause(e);
    SetLastError(clause.code, clause.format, e.what());
    ok = clause.order == nox::import::kClauseWarningCorruptImage ||
         clause.order == nox::import::kClauseWarning;
  }

  if (image.columns() == 0 || image.rows() == 0) {
    SetLastError(kInvalidImageCode, "Invalid image size: \n");
    ok = false;
  } else if (ok && flip) {
    image.flip();
  }
  return ok;
}
