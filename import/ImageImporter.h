#pragma once
// CImageImporter: imports still images. A file or a memory blob is read through
// GraphicsMagick or through one of our format handlers (EXR and HDR), gets a 64 by 64 icon
// and a large icon 360 high, is brought into the pixel layout it is stored in (and on request
// DXT-compressed with a mip chain), and is written as one database file of type IMAGE.
//
// Not thread-safe: one object serves one thread at a time. Copies share the pixel buffers,
// the compressed levels and the blob pointer, and nothing guards a second release of them,
// so a copy must not outlive its source or be destroyed beside it.

#include <Magick++.h>

#include <cstdint>
#include <memory>
#include <string>

#include "import/ImporterBase.h"
#include "import/NImg.h"
#include "import/db/Database.h"
#include "texture/DDS.h"

class CImageImporter : public CImporterBase {
 public:
  // The option word: a compression mode in the low four bits, options above.
  enum Settings : uint32_t {
    CompressionMask = 0xF,
    KeepOriginalBit = 0x1000,               // a compressed image keeps its plain pixels too
    StoreOriginalIfCompressedBit = 0x2000,  // "Original" unit, only when compressed
    StoreOriginalBit = 0x4000,              // "Original" unit always
    MipmapsBit = 0x8000,
    MipmapsCompressedBit = 0x10000,
    ScaleDownDataBit = 0x20000,  // a compressed image keeps a reduced plain copy
    BilevelMattAsRGBABit = 0x40000,
  };
  enum Compression : uint32_t {
    CompressionNone = 0,
    CompressionDXT1 = 1,
    CompressionDXT5 = 3,
    CompressionAuto = 5,  // DXT5 for layouts with alpha, DXT1 for the others
  };
  // The result of Compress.
  enum ECompressError {
    CompressOk = 0,
    CompressAlreadyCompressed = 1,
    CompressUnitUnreadable = 2,
    CompressBadData = 3,
    CompressImageUnreadable = 4,
    CompressNoMemory = 5,
    CompressReopenFailed = 6,
    CompressMipmapWriteFailed = 7,
    CompressPrepareFailed = 8,
    CompressEncodeFailed = 9,
  };

  static const char* const UNIT_ORIGINAL;          // "Original"
  static const char* const UNIT_MMLEVEL_BASE_FMT;  // "MMLevel.%02d"

  // `settings` and `quality` as the fields of the same names. The session is not owned and
  // must outlive the importer; without one, an import ends true before anything is written.
  CImageImporter(CNoxDbI& session, unsigned long settings, unsigned int quality);
  explicit CImageImporter(unsigned long settings = 0, unsigned int quality = 0);
  CImageImporter(const CImageImporter& other);
  CImageImporter& operator=(const CImageImporter& other);
  ~CImageImporter() override;

  // Non-zero (an Importable value) when the file can be read; 0 with code 12 "File is not an
  // image" otherwise. Magick exceptions of the ping pass through.
  int CanImport(const char* path) override;
  // 2.
  int Type() const override;

  // Imports the file at `path` (UTF-8) into `folder` (null: the session's current folder).
  // `checksum`: the caller's digest of the file, or null to digest it here. `uuid`, when given
  // and not null, names the file to open or to create, and receives the file's identifier.
  // True when the file was written. On false GetLastError() says why (some failures of the
  // database carry only a code). Magick exceptions of the ping and of the icons pass through.
  virtual bool Import(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID& folder,
                      CUUID* uuid);
  // Imports a picture held in memory; `name` gives the item's name and, behind its last '.',
  // the format ("exr", "hdr" and "dds", compared case-sensitively, go to the format
  // handlers). The blob is not owned and must outlive the import. The last two arguments are
  // not read. Handler exceptions pass through.
  bool Import(const Magick::Blob* blob, const char* name, const char* extension, bool overwrite,
              CNOFChecksum* checksum, const CUUID& folder, CUUID* uuid, bool ignoredFlag,
              const std::string& ignoredText);

  // How a file would be read: ImportableByHandler for EXR and HDR files a handler opens,
  // ImportableByMagick for what GraphicsMagick pings with a size, else NotImportable. Magick
  // exceptions of the ping pass through.
  static Importable IsImportable(const char* file);
  // The file extension for a mime type, e.g. "image/png" gives "png"; an unknown type gives the
  // text behind its first '/'.
  static const std::string MimeToExt(const std::string& mime);

  // Settings; each setter changes only its own bits.
  void SetBilevelMattAsRGBA(bool on);
  bool IsBilevelMattAsRGBA() const;
  void SetCompressed(unsigned long mode);
  bool IsStoreCompressed() const;
  void SetGenerateMipmaps(bool on, bool second);
  bool IsGenerateMipmaps(bool compressed) const;
  void SetImageQuality(int quality);
  int GetImageQuality() const;
  void SetKeepOriginal(bool on);
  void SetStoreOriginal(bool on, bool ifCompressed);
  bool IsStoreOriginal(bool compressed) const;

  // The name of the unit of mip level `level` (from 0): "MMLevel.00", "MMLevel.01"...
  static std::string levelName(int level);
  // Compressed levels of the last run of the encoder.
  const COMPRESSED_IMAGE_DATA* compressedImage(int level) const;
  size_t compressedImageNumMMLevels() const;

  // The compression mode of a stored image (0 when uncompressed or unreadable); its level
  // count goes to `levels` when the file lists levels (else 0).
  int IsCompressedImage(CNDBFile& file, int* levels);
  // As above for the file `uuid` of the session; a file that cannot be opened answers with
  // the (negative) code of the failure.
  int IsCompressedImage(const CUUID& uuid, int* levels);
  // Turns the open, uncompressed image `file` into a compressed one with mip levels, in
  // place, keeping its pixels as "Original": mode as in SetCompressed. The file is closed and
  // reopened on the way; the rewrite commits when `file` ends.
  ECompressError Compress(CNDBFile& file, int mode);

 protected:
  bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                CUUID* uuid, bool createWithUuid) override;
  // Reads `file` into the picture through GraphicsMagick, or from the blob of the current
  // handler-road import when one is set.
  bool loadFile(const char* file) override;
  unsigned int getImageFormatGL() const override;
  bool dualIcon() const override;
  bool isAlphaSupported() const override;
  bool AddSpecialUnits(CNDBFile& file) override;

  // Reading.
  bool importPicture(const char* path);
  bool load(const Magick::Blob* blob, const char* name, const std::string& extension);

  // The stored layout.
  GLFormat getTypeSafeImageFormat() const;
  const char* formatName(GLFormat format, bool rawFormatName) const;
  bool prepareImage();
  int setupCompressionFormat();
  bool IsAlphaOnly();
  bool allocBuffer(unsigned int size);
  bool scaleImage(unsigned int width, unsigned int height);

  // Writing.
  bool WriteToDB(bool overwrite, CNOFChecksum* checksum, const CUUID* folder, CUUID* uuid,
                 bool createWithUuid);
  bool writeTo(CNDBFile& file, bool compressed);
  bool writeDataUnit(CNDBFile& file, bool compressed, bool mipmaps);
  bool writeOriginalUnit(CNDBFile& file);

  // Compression.
  CDDS* DXT();
  bool compressImage(char* pixels, unsigned int& size, const tagSIZE& dimensions);
  bool writeMipmapUnits(CNDBFile& file, bool compressed);
  bool writeMipmaps(CNDBFile& file, GLFormat format, bool compressed, const char* pixels,
                    unsigned int size);

  CDDS* dds;
  uint32_t settings;
  uint32_t imageQuality;
  uint32_t activeCompression;
  CNPBM iconSmall;
  CNPBM iconLarge;
  CNImg picture;
  Magick::Image keptImage;
  const Magick::Blob* sourceBlob;
  std::string sourceName;
  bool compressedFlag;
  int32_t previewLimit;
  uint32_t bufferSize;
  unsigned char* pixelBuffer;
  unsigned char* blockBuffer;
  GLFormat workFormat;
  GLFormat sourceFormat;
  GLFormat forcedFormat;
  int32_t alphaOnlyState;

 private:
  // Owners of `dds` and `pixelBuffer`: copies share them, and the last holder frees them.
  std::shared_ptr<CDDS> ddsOwner;
  std::shared_ptr<unsigned char> pixelOwner;

  void commonInit(unsigned long settings, unsigned int quality);
  // The mode bits of `settings`.
  uint32_t mode() const { return settings & CompressionMask; }
  // Whether "Original" is declared and written: 24576 when a mode is set, 16384 otherwise.
  bool storeOriginalTest() const;
  // `keptImage` when it holds a picture, else the picture's Magick image.
  Magick::Image& dataSource(bool* fromKept);
  // Brings `image` to the raw byte layout of `format` (BGR or BGRA with matte to match).
  static void setRawLayout(Magick::Image& image, GLFormat format);
  // Bytes a pixel of `format` takes in pixelBuffer.
  size_t exportPixelSize(GLFormat format) const;
  // Exports width by height pixels of `image` into pixelBuffer with the map of `format`,
  // growing the buffer when it is too small; the bytes written.
  unsigned int exportPixels(Magick::Image& image, unsigned int width, unsigned int height,
                            GLFormat format);
  // The small and the large icon of `source`, as asked.
  void makeIcons(const Magick::Image& source, bool small, bool large);
  // Rows of the data record that tell the compression: level 0's byte count and the mode.
  void writeCompressionRecord(CNDBFile& file);
  // The list of level units in the data record, when there are two levels or more.
  void writeLevelList(CNDBFile& file);
  // The end of the "Original" record, after its pixels.
  void writeOriginalTail(CNDBFile& file);
  // Opens a picture block with its size and format; the caller writes the rest.
  void writePicture(CNDBFile& file, const tagSIZE& size, GLFormat format);
};
