// CVideoClipImporter: reading and judging a clip description, and writing the clip's
// database file: icons from the thumbnail, the token record, the media bytes in packets and
// the add-ons.

#include "import/VideoClipImporter.h"

#include <Magick++.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "import/MagickInit.h"
#include "util/Utf8.h"

const char* const CVideoClipImporter::UNIT_CLIPDATA = "CLIPDATA";
const char* const CVideoClipImporter::UNIT_CLIPDATA_LORES = "CLIPDATA_LORES";

namespace {

using nox::util::Utf8ToWide;

constexpr int kClipFileType = 248;
constexpr int kClipImporterType = 3;
constexpr int kNotAvailableCode = 8;
constexpr unsigned int kPacketBlock = 51200;  // RawWrite counts packets in these
constexpr double kLargeIconHeight = 360.0;
constexpr TOK::FileToken kIconToken = TOK::FileToken(3);

// Files are reached through the wide form of their path, which turns bytes that are no
// UTF-8 into U+FFFD.
std::string OnDisk(const std::string& path) { return nox::util::WideToUtf8(Utf8ToWide(path)); }

// The clip and the thumbnail are tested through a path narrowed to the low byte of each
// character, so a name beyond ASCII fails unless its flag excuses it; the proxy is tested
// through its wide path. Descriptions have always been judged so.
bool ReadableNarrowed(const std::string& path) {
  return access(nox::util::NarrowLowBytes(Utf8ToWide(path)).c_str(), R_OK) == 0;
}
bool ReadableWide(const std::string& path) { return access(OnDisk(path).c_str(), R_OK) == 0; }

// Everything before the last separator of `path`, or empty when it has none.
std::string FolderOf(const std::string& path) {
  const size_t last = path.find_last_of("/\\");
  return last == std::string::npos ? std::string() : path.substr(0, last);
}

// Copies the region 0, 0, width, height of `image` into `bitmap` as 8-bit RGB.
void ExportRgb(Magick::Image& image, unsigned int width, unsigned int height, CNPBM& bitmap) {
  bitmap.SetSize(width, height);
  image.write(0, 0, width, height, "RGB", Magick::CharPixel, bitmap.GetPixels());
}

void WriteIcon(CNDBFile& file, const CNPBM& bitmap) {
  file << kIconToken << bitmap << TOK::Closing(kIconToken);
}

// Reads up to `size` bytes, as many as the file still has.
size_t ReadFully(int fd, char* buffer, size_t size) {
  size_t got = 0;
  while (got < size) {
    const ssize_t n = read(fd, buffer + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  return got;
}

// Closes a descriptor when it goes out of scope.
struct Descriptor {
  int fd;
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }
};

}  // namespace

CVideoClipImporter::CVideoClipImporter() { commonInit(); }

CVideoClipImporter::CVideoClipImporter(CNoxDbI& session) : CImporterBase(session) {
  commonInit();
}

CVideoClipImporter::~CVideoClipImporter() = default;

void CVideoClipImporter::commonInit() {
  initFileType(kClipFileType, "VIDEO_CLIP");
  iconLoaded = false;
}

int CVideoClipImporter::Type() const { return kClipImporterType; }

bool CVideoClipImporter::loadFile(const char*) { return true; }

bool CVideoClipImporter::IsImportable(const char* path) {
  // Judged by a fresh importer, so that nothing read here reaches a later import.
  return CVideoClipImporter().CanImport(path) != 0;
}

bool CVideoClipImporter::Import(const char* path, bool overwrite, CNOFChecksum* checksum,
                                const CUUID& folder, CUUID* uuid) {
  return _importFile(path, overwrite, checksum, folder.IsNull() ? nullptr : &folder, uuid) ==
         ImportFileDone;
}

int CVideoClipImporter::CanImport(const char* path) {
  // Reset before any test: a refused file leaves nothing of an earlier one behind.
  description = ClipDescription();
  if (path == nullptr || *path == '\0') return 0;
  // Whatever is not well-formed XML ends here without a word; pictures pass on this way.
  pugi::xml_document document;
  if (!nox::import::LoadClipDocument(path, document)) return 0;
  const std::string folder = FolderOf(path);
  for (pugi::xml_node child = document.document_element().first_child(); child;
       child = child.next_sibling()) {
    if (strcasecmp(child.name(), "field") == 0) {
      const pugi::xml_attribute field = child.attribute("name");
      const int number = field ? nox::import::ClipFieldNumber(field.value()) : -1;
      const pugi::xml_node value = child.child("value");
      if (number >= 0 && value) setField(number, value.child_value(), folder);
    } else if (strcasecmp(child.name(), "mode") == 0) {
      const char* text = child.child_value();
      if (*text != '\0') description.mode = nox::import::ParseMode(text);
    }
  }
  if (!description.IsComplete()) return 0;
  return checkAvailability();
}

void CVideoClipImporter::setField(int number, const char* text, const std::string& folder) {
  using namespace nox::import;
  ClipDescription& d = description;
  // A path in a description is relative to the description, even one that looks absolute.
  const auto joined = [&] { return *text == '\0' ? std::string() : makeFileName(folder, text); };
  switch (number) {
    case kFieldClip:
      d.clipPath = joined();
      break;
    case kFieldThumbnail:
      d.thumbnailPath = joined();
      break;
    case kFieldProxyClip:
      d.proxyPath = joined();
      break;
    case kFieldClipName:
      d.clipName = text;
      name = d.clipName;
      break;
    case kFieldRenderSource:
      d.renderSource = text;
      break;
    case kFieldAdditionalMetaData:
      d.additionalMetaData = text;
      break;
    case kFieldCodec:
      d.codec = text;
      break;
    case kFieldAudio:
      d.audio = text;
      break;
    case kFieldStartTc:
      d.startTc = ParseTimeCode(text);
      break;
    case kFieldDuration:
      d.duration = std::atof(text);
      break;
    case kFieldAspect:
      d.aspect = std::atof(text);
      break;
    case kFieldContainer:
      d.container = static_cast<unsigned short>(ParseInt(text));
      break;
    case kFieldCodecId:
      d.codecId = ParseInt(text);
      break;
    case kFieldAudioId:
      d.audioId = ParseInt(text);
      break;
    case kFieldWidth:
      d.width = ParseInt(text);
      break;
    case kFieldHeight:
      d.height = ParseInt(text);
      break;
    default:
      break;
  }
}

int CVideoClipImporter::checkAvailability() {
  if (!ReadableNarrowed(description.clipPath) && !description.Has(ClipDescription::ProxyOnly)) {
    SetLastError(kNotAvailableCode, "Clip is not available.");
    return 0;
  }
  if (!ReadableNarrowed(description.thumbnailPath) && !description.Has(ClipDescription::NoIcon)) {
    SetLastError(kNotAvailableCode, "Clip icon is not available.");
    return 0;
  }
  if (!description.proxyPath.empty() && !ReadableWide(description.proxyPath)) {
    SetLastError(kNotAvailableCode, "Specified low-res clip is not available.");
    return 0;
  }
  return Type();
}

CNPBM CVideoClipImporter::iconOf(const Magick::Image& source, const Magick::Geometry& box) {
  Magick::Image icon;
  makeIcon(source, box, icon);
  CNPBM bitmap;
  ExportRgb(icon, box.width(), box.height(), bitmap);
  return bitmap;
}

bool CVideoClipImporter::doImport(const char*, bool overwrite, CNOFChecksum* checksum,
                                  const CUUID* folder, CUUID* uuid, bool) {
  if (!isCorrectType(uuid)) return false;
  iconLoaded = false;
  iconSmall = CNPBM();
  iconLarge = CNPBM();
  // The thumbnail is loaded here for the large icon's size, which the unit list needs, and
  // once more by writeTo.
  if (!description.thumbnailPath.empty()) {
    nox::import::EnsureMagickInitialized();
    Magick::Image image;
    iconLoaded = loadImage(image, description.thumbnailPath.c_str(), true);
    if (iconLoaded) {
      iconSmall = iconOf(image, Magick::Geometry(64, 64));
      const int largeWidth = static_cast<int>(
          std::floor(image.columns() * kLargeIconHeight / static_cast<double>(image.rows())));
      Magick::Geometry size(static_cast<unsigned int>(largeWidth),
                            static_cast<unsigned int>(kLargeIconHeight));
      Magick::Image large;
      makeIconLarge(image, size, large);
      ExportRgb(large, size.width(), size.height(), iconLarge);
    } else if (!description.Has(ClipDescription::NoIcon)) {
      return false;
    }
  }

  // The caller's checksum stands; otherwise the clip is digested when the database keeps
  // checksums. A clip that does not open leaves the file without one.
  CNOFChecksum digest;
  if (checksum == nullptr && session != nullptr &&
      session->Supports(CNDBConstants::eFeatureChecksum, nullptr)) {
    if (FILE* clip = std::fopen(OnDisk(description.clipPath).c_str(), "rb")) {
      digest.calcChecksum(clip);
      std::fclose(clip);
      checksum = &digest;
    }
  }

  CNDBFile file(session);
  if (!OpenDBFile(file, overwrite, checksum, folder, false, uuid, iconLarge.Width(),
                  iconLarge.Height())) {
    return false;
  }
  if (!writeTo(file) && !DismissCorrupt(file)) return false;
  // Add-ons come last, onto the complete file.
  return assignAddOns(file);
}

bool CVideoClipImporter::AddSpecialUnits(CNDBFile& file) {
  file.InsertSizeAttribute(CNDBFile::UNIT_ICON_DEFAULT, 153, 115);
  file.InsertSizeAttribute(CNDBFile::UNIT_ICON_SMALL, 64, 64);
  file.AddAttribute(UNIT_CLIPDATA, nullptr);
  file.AddAttribute(UNIT_CLIPDATA_LORES, nullptr);
  return true;
}

bool CVideoClipImporter::writeTo(CNDBFile& file) {
  if (file.SelectUnit(CNDBFile::UNIT_ICON_SMALL, 0, false) != 0) return false;
  if (!description.thumbnailPath.empty()) {
    nox::import::EnsureMagickInitialized();
    Magick::Image image;
    if (loadImage(image, description.thumbnailPath.c_str(), true)) {
      WriteIcon(file, iconOf(image, Magick::Geometry(64, 64)));
      if (file.SelectUnit(CNDBFile::UNIT_ICON_DEFAULT, 0, false) != 0) return false;
      WriteIcon(file, iconOf(image, Magick::Geometry(153, 115)));
      if (iconLarge.IsValid() && file.SelectUnit(CNDBFile::UNIT_ICON_LARGE, 0, false) != 0) {
        return false;
      }
      // Written whether or not the large icon is valid: an empty one lands behind the
      // default icon, where readers of clip files expect it.
      WriteIcon(file, iconLarge);
    } else if (!description.Has(ClipDescription::NoIcon)) {
      return false;
    }
  }
  writeDataUnit(file);
  // The proxy goes in before the clip. A copy that fails shows only through the file's error.
  if (!description.proxyPath.empty()) writeClipLowRes(file);
  writeClipData(file);
  return file.GetLastError() == 0;
}

bool CVideoClipImporter::writeDataUnit(CNDBFile& file) {
  if (file.SelectUnit(CNDBFile::UNIT_DATA, 0, false) != 0) return false;
  const ClipDescription& d = description;
  const TOK::FileToken record = TOK::FileToken(3024);
  file << record;
  _writeT(file, TOK::FileToken(2047), d.clipName);
  _writeT(file, TOK::FileToken(3012), d.clipPath);
  _writeT(file, TOK::FileToken(3026), d.startTc);
  _writeT(file, TOK::FileToken(3013), d.duration);
  _writeT(file, TOK::FileToken(3014), static_cast<short>(d.container));
  _writeT(file, TOK::FileToken(2046), d.codecId);
  _writeT(file, TOK::FileToken(3015), d.extraInt);
  _writeT(file, TOK::FileToken(3016), d.audio);
  _writeT(file, TOK::FileToken(3017), d.extraDouble);
  _writeT(file, TOK::FileToken(3018), d.aspect);
  _writeT(file, TOK::FileToken(3019), tagSIZE{d.width, d.height});
  _writeT(file, TOK::FileToken(3020), d.extraFlag1);
  _writeT(file, TOK::FileToken(3021), d.extraFlag2);
  file << TOK::Closing(record);
  return true;
}

bool CVideoClipImporter::writeClipData(CNDBFile& file) {
  return _writeBinFileToUnit(file, UNIT_CLIPDATA, description.clipPath.c_str());
}

bool CVideoClipImporter::writeClipLowRes(CNDBFile& file) {
  return _writeBinFileToUnit(file, UNIT_CLIPDATA_LORES, description.proxyPath.c_str());
}

bool CVideoClipImporter::_writeBinFileToUnit(CNDBFile& file, const char* unit, const char* path) {
  if (!file.IsWritable() || unit == nullptr || path == nullptr) return false;
  const int index = file.FindUnit(unit);
  if (index < 1) return false;
  struct stat status {};
  if (stat(path, &status) != 0) return false;
  unsigned long long remaining = static_cast<unsigned long long>(status.st_size);
  const Descriptor source{open(OnDisk(path).c_str(), O_RDONLY | O_CLOEXEC)};
  // Descriptor 0 counts as a failure too, as it always has.
  if (source.fd < 1) return false;

  const unsigned int bufferSize = file.Session()->GetBufferSize();
  // A session that moves no bytes per packet could never finish the copy.
  if (bufferSize == 0) return false;
  const int blocksPerPacket = static_cast<int>(bufferSize / kPacketBlock);
  std::vector<char> buffer(bufferSize);
  unsigned long long sent = 0;
  int packetIndex = 0;
  int block = 0;
  while (remaining > 0) {
    const unsigned int n =
        static_cast<unsigned int>(std::min<unsigned long long>(remaining, bufferSize));
    // A file that shrank since it was measured ends the copy; the import's outcome is then
    // the database file's own error, as for every other failed copy.
    if (ReadFully(source.fd, buffer.data(), n) != n) return false;
    OnPacketToTransfer(packetIndex, n, remaining);
    bool plain = true;  // the bytes come from a disk file
    if (file.RawWrite(index, block, buffer.data(), n, &plain) != n) return false;
    sent += n;
    OnPacketTransferred(packetIndex, n, sent);
    block += blocksPerPacket;
    ++packetIndex;
    remaining -= n;
  }
  return true;
}

bool CVideoClipImporter::assignAddOns(CNDBFile& file) {
  // An import that names no add-ons keeps those the file has.
  if (description.additionalMetaData.empty()) return true;
  CNoxDbI& db = *file.Session();
  const CUUID uuid = file.GetUuid();
  CNDBConstants::DBERROR error;
  // A failure of the add-on library is reported with its own code and text.
  const auto succeeded = [&](ENErrorCode result) {
    if (result == NMH_OK) return true;
    SetLastError(error.code, "%s", error.text.c_str());
    return false;
  };
  if (uuid.IsNull() || !db.Supports(CNDBConstants::eFeatureAddons, false, nullptr)) {
    return succeeded(NNMHAddons::RemoveAddons(db, uuid, error, nullptr, nullptr));
  }
  bool has = false;
  NNMHAddons::HasAddons(db, uuid, has, error, nullptr, nullptr);
  if (has) NNMHAddons::RemoveAddons(db, uuid, error, nullptr, nullptr);
  return succeeded(NNMHAddons::ImportAddons(db, uuid, description.additionalMetaData,
                                            NMH_TRANSFER_COPY, error, nullptr, nullptr));
}
