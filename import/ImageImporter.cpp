// CImageImporter: construction and settings, classifying and reading a file or a blob, and
// the steps of one import up to the write: name, icons and checksum.

#include "import/ImageImporter.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerFactory.h"
#include "import/MagickErrorTable.h"
#include "import/MagickInit.h"
#include "util/Utf8.h"

namespace {

namespace io = nox::image::io;

constexpr int kImageFileType = 49;
constexpr int kImageImporterType = 2;
constexpr int kNoInputCode = 10;
constexpr int kNotAnImageCode = 12;
constexpr int kInvalidImageCode = 8;
constexpr int kSmallIcon = 64;
constexpr int kLargeIconHeight = 360;
const CNDBConstants::EFeature kChecksumFeature = CNDBConstants::EFeature(20);

// The text behind the last '.' of `name`, or the whole name when it has none.
std::string TextAfterLastDot(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? name : name.substr(dot + 1);
}

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool IsHandlerExtension(const std::string& extension) {
  return extension == "exr" || extension == "hdr" || extension == "dds";
}

// Copies a finished icon into a bitmap of the icon's size. A side that a bitmap cannot hold
// leaves the bitmap empty rather than writing past it.
void ExportIcon(Magick::Image& icon, unsigned int width, unsigned int height, CNPBM& bitmap) {
  if (bitmap.SetSize(width, height) && bitmap.GetPixels() != nullptr) {
    icon.write(0, 0, width, height, "RGB", Magick::CharPixel, bitmap.GetPixels());
  }
}

}  // namespace

const char* const CImageImporter::UNIT_ORIGINAL = "Original";
const char* const CImageImporter::UNIT_MMLEVEL_BASE_FMT = "MMLevel.%02d";

CImageImporter::CImageImporter(CNoxDbI& session, unsigned long settings, unsigned int quality)
    : CImporterBase(session), iconSmall(0, 0), iconLarge(0, 0) {
  commonInit(settings, quality);
}

CImageImporter::CImageImporter(unsigned long settings, unsigned int quality)
    : iconSmall(0, 0), iconLarge(0, 0) {
  commonInit(settings, quality);
}

CImageImporter::CImageImporter(const CImageImporter& other) = default;
CImageImporter& CImageImporter::operator=(const CImageImporter& other) = default;

CImageImporter::~CImageImporter() {
  // Copies share the level table and the pixel buffer through their owners, so the last
  // holder frees them; a copy may outlive its source.
  std::free(blockBuffer);
}

void CImageImporter::commonInit(unsigned long settingsWord, unsigned int quality) {
  nox::import::EnsureMagickInitialized();
  dds = nullptr;
  settings = static_cast<uint32_t>(settingsWord);
  imageQuality = quality;
  activeCompression = 0;
  picture = CNImg();
  keptImage = Magick::Image();
  sourceBlob = nullptr;
  sourceName.clear();
  compressedFlag = false;
  previewLimit = 100;
  bufferSize = 0;
  pixelBuffer = nullptr;
  blockBuffer = nullptr;
  workFormat = GL_NONE;
  sourceFormat = GL_NONE;
  forcedFormat = GL_NONE;
  alphaOnlyState = -1;
  initFileType(kImageFileType, "IMAGE");
}

int CImageImporter::Type() const { return kImageImporterType; }

void CImageImporter::SetBilevelMattAsRGBA(bool on) {
  settings = on ? settings | BilevelMattAsRGBABit : settings & ~BilevelMattAsRGBABit;
}
bool CImageImporter::IsBilevelMattAsRGBA() const { return (settings & BilevelMattAsRGBABit) != 0; }
void CImageImporter::SetCompressed(unsigned long modeWord) {
  settings = (settings & ~CompressionMask) | (static_cast<uint32_t>(modeWord) & CompressionMask);
}
bool CImageImporter::IsStoreCompressed() const { return mode() != 0; }
void CImageImporter::SetGenerateMipmaps(bool on, bool second) {
  settings &= ~(MipmapsBit | MipmapsCompressedBit);
  if (on) settings |= second ? MipmapsCompressedBit : MipmapsBit;
}
bool CImageImporter::IsGenerateMipmaps(bool compressed) const {
  return compressed && (settings & (MipmapsBit | MipmapsCompressedBit)) != 0;
}
void CImageImporter::SetImageQuality(int quality) { imageQuality = static_cast<uint32_t>(quality); }
int CImageImporter::GetImageQuality() const { return static_cast<int>(imageQuality); }
void CImageImporter::SetKeepOriginal(bool on) {
  settings = on ? settings | KeepOriginalBit : settings & ~KeepOriginalBit;
}
void CImageImporter::SetStoreOriginal(bool on, bool ifCompressed) {
  settings &= ~(StoreOriginalIfCompressedBit | StoreOriginalBit);
  if (on) settings |= ifCompressed ? StoreOriginalIfCompressedBit : StoreOriginalBit;
}
bool CImageImporter::IsStoreOriginal(bool compressed) const {
  const uint32_t bits =
      compressed ? StoreOriginalIfCompressedBit | StoreOriginalBit : uint32_t{StoreOriginalBit};
  return (settings & bits) != 0;
}

CImporterBase::Importable CImageImporter::IsImportable(const char* file) {
  if (file == nullptr || *file == '\0') return NotImportable;
  // A PNG that a handler could read still goes through GraphicsMagick: only the high dynamic
  // range formats take the handler road, so the handler probe (which reads the whole file) is
  // only worth making for their extensions; for any other the answer comes from the ping.
  if (IsHandlerExtension(io::fileExtension(file))) {
    try {
      io::createFromPath(file, io::kHandlerOptionsDefault);
      return ImportableByHandler;
    } catch (const io::ImageHandlerException&) {
    }
  }
  nox::import::EnsureMagickInitialized();
  Magick::Image image;
  image.ping(file);
  return image.fileSize() != 0 && image.columns() != 0 && image.rows() != 0 ? ImportableByMagick
                                                                            : NotImportable;
}

int CImageImporter::CanImport(const char* path) {
  const Importable kind = IsImportable(path);
  if (kind == NotImportable) SetLastError(kNotAnImageCode, "File is not an image");
  return kind;
}

bool CImageImporter::Import(const char* path, bool overwrite, CNOFChecksum* checksum,
                            const CUUID& folder, CUUID* uuid) {
  if (path == nullptr || *path == '\0') {
    SetLastError(kNoInputCode, "No file name specified\n");
    return false;
  }
  const int kind = CanImport(path);
  if (kind == ImportableByMagick) {
    picture.kind = ImportableByMagick;
    sourceName = path;
    sourceBlob = nullptr;
    if (!loadFile(path)) return false;
  } else if (kind == ImportableByHandler) {
    // sourceName stays as it was: the checksum step of doImport digests whatever it names.
    picture.kind = ImportableByHandler;
    if (!importPicture(path)) return false;
  } else {
    return false;
  }
  return doImport(path, overwrite, checksum, folder.IsNull() ? nullptr : &folder, uuid, false);
}

bool CImageImporter::Import(const Magick::Blob* blob, const char* nameText, const char* extension,
                            bool overwrite, CNOFChecksum* checksum, const CUUID& folder,
                            CUUID* uuid, bool, const std::string&) {
  if (blob == nullptr || blob->length() == 0) {
    SetLastError(kNoInputCode, "Buffer is empty/not set\n");
    return false;
  }
  CNOFChecksum digest;
  if (checksum == nullptr && session != nullptr && session->Supports(kChecksumFeature, nullptr) &&
      blob->data() != nullptr) {
    digest.calcChecksum(static_cast<unsigned char*>(const_cast<void*>(blob->data())),
                        static_cast<unsigned int>(blob->length()));
    digest.finalize();
    checksum = &digest;
  }
  sourceBlob = blob;
  const std::string itemName = nameText ? nameText : "";
  const CUUID* target = folder.IsNull() ? nullptr : &folder;
  if (IsHandlerExtension(TextAfterLastDot(itemName))) {
    picture.kind = ImportableByHandler;
    sourceName = itemName;
    auto handler = io::createFromMemory(blob->data(), static_cast<int32_t>(blob->length()),
                                        io::kHandlerOptionsDefault);
    picture.set(handler->load());
    return doImport(itemName.c_str(), overwrite, checksum, target, uuid, false);
  }
  picture.kind = ImportableByMagick;
  sourceName = itemName;
  sourceBlob = nullptr;
  if (!load(blob, itemName.c_str(), extension ? extension : "")) return false;
  return doImport(itemName.c_str(), overwrite, checksum, target, uuid, false);
}

bool CImageImporter::loadFile(const char* file) {
  const std::string path = file ? file : "";
  std::string extension = std::filesystem::path(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  if (sourceBlob != nullptr) return load(sourceBlob, path.c_str(), extension);
  return loadImage(picture.magickImage, file, true);
}

bool CImageImporter::importPicture(const char* path) {
  std::shared_ptr<nox::image::IImage> image;
  try {
    // Making the handler is the same probe that classified the file.
    image = io::createFromPath(path, io::kHandlerOptionsDefault)->load();
  } catch (const io::ImageHandlerException& e) {
    SetLastError(kNotAnImageCode, "Caught nox::image::io::ImageHandlerException: %s\n", e.what());
    return false;
  }
  if (!image) {
    SetLastError(kNotAnImageCode,
                 "Caught nox::image::io::ImageHandlerException: not loaded/unknown cause\n");
    return false;
  }
  picture.noxImage = std::move(image);
  return true;
}

bool CImageImporter::load(const Magick::Blob* blob, const char* nameText,
                          const std::string& extension) {
  nox::import::EnsureMagickInitialized();
  const std::string lower = Lower(extension);
  Magick::Image image;
  bool success = false;
  bool caught = false;
  try {
    if (blob->length() != 0) {
      // TGA has no signature to be told by.
      if (lower == "tga") image.magick("TGA");
      image.read(*blob);
      image.flip();
    }
    success = true;
    sourceName = nameText ? nameText : "";
  } catch (const Magick::Exception& e) {
    const nox::import::MagickClause& clause = nox::import::FindMagickClause(e);
    SetLastError(clause.code, clause.format, e.what());
    caught = true;
    success = clause.order == nox::import::kClauseWarning && image.columns() != 0 &&
              image.rows() != 0;
  }
  if (image.columns() == 0 || image.rows() == 0) {
    // The text of a caught exception says more than this one, so it is kept.
    if (!caught) SetLastError(kInvalidImageCode, "Invalid image size: \n");
    return false;
  }
  if (success) picture.set(image);
  return success;
}

bool CImageImporter::doImport(const char* path, bool overwrite, CNOFChecksum* checksum,
                              const CUUID* folder, CUUID* uuid, bool createWithUuid) {
  if (!isCorrectType(uuid)) return false;
  forcedFormat = GL_NONE;
  alphaOnlyState = -1;
  lastError.clear();
  name = fileStem(path ? path : "");
  CNDBConstants::ValidatedName(name.data(), CNDBConstants::EValidate(0));

  if (picture.IsNoxImage()) {
    workFormat = picture.toGLFormat();
    if (workFormat == GL_NONE) return false;
    picture.isBlockCompressed = nox::image::isBlockCompressed(picture.noxImage->format());
    if (picture.isBlockCompressed) picture.glFormat = workFormat;
    picture.CopyNoxImage2Magick(GL_RGB, kSmallIcon, kSmallIcon);
  }
  makeIcons(picture.magickImage, true, true);

  CNOFChecksum digest;
  if (checksum == nullptr && session != nullptr && session->Supports(kChecksumFeature, nullptr)) {
    const std::string onDisk = nox::util::WideToUtf8(nox::util::Utf8ToWide(sourceName));
    if (FILE* source = std::fopen(onDisk.c_str(), "rb")) {
      digest.calcChecksum(source);
      std::fclose(source);
      checksum = &digest;
    }
  }
  if (session == nullptr) return true;
  return WriteToDB(overwrite, checksum, folder, uuid, createWithUuid);
}

void CImageImporter::makeIcons(const Magick::Image& source, bool small, bool large) {
  if (small) {
    Magick::Image icon;
    const Magick::Geometry box(kSmallIcon, kSmallIcon);
    makeIcon(source, box, icon);
    ExportIcon(icon, box.width(), box.height(), iconSmall);
  }
  if (large) {
    const double width = std::floor(source.columns() * double{kLargeIconHeight} / source.rows());
    Magick::Geometry size(static_cast<unsigned int>(static_cast<int>(width)), kLargeIconHeight);
    Magick::Image icon;
    makeIconLarge(source, size, icon);
    ExportIcon(icon, size.width(), size.height(), iconLarge);
  }
}

const std::string CImageImporter::MimeToExt(const std::string& mime) {
  static const std::map<std::string, std::string> kTable = {
      {"image/h264", "h264"}, {"image/mp4", "mp4"},         {"image/jpeg", "jpeg"},
      {"image/gif", "gif"},   {"image/tiff", "tiff"},       {"image/bmp", "bmp"},
      {"image/png", "png"},   {"image/tga", "tga"},         {"image/x-exr", "exr"},
      {"image/vnd.radiance", "hdr"}, {"image/vnd-ms.dds", "dds"},
  };
  const auto found = kTable.find(mime);
  if (found != kTable.end()) return found->second;
  const size_t slash = mime.find('/');
  return slash == std::string::npos ? mime : mime.substr(slash + 1);
}
