#pragma once
// CImporterBase: the abstract base of every importer. It holds what all importers share
// (the session, the destination folder, the item's name, the file type, keywords and the
// last error), fixes the steps of importing one file, walks folders, opens database files
// and makes icons.

#include <cstdint>
#include <string>
#include <vector>

#include "import/db/Database.h"

namespace Magick {
class Geometry;
class Image;
}  // namespace Magick

class CImporterBase {
 public:
  // The answer of an image importer's CanImport; 0 always means "not importable".
  enum Importable {
    NotImportable = 0,
    ImportableByMagick = 0x1002,
    ImportableByHandler = 0x2002,
  };

  // Flags of the word _importFile returns. Only 1, 2, 4, 8, 10 and 12 occur.
  enum ImportFileFlags : unsigned short {
    ImportFileDone = 1,     // the file was imported
    ImportFileFailed = 2,   // loading or importing failed
    ImportFileSkipped = 4,  // CanImport refused the file
    ImportFileStop = 8,     // the caller asks that a walk end here
  };

  // Stored pixel layouts, by their OpenGL numbers: database files hold these numbers, so
  // they never change.
  enum GLFormat : uint32_t {
    GL_NONE = 0,
    GL_COLOR_INDEX = 0x1900,
    GL_RED = 0x1903,
    GL_GREEN = 0x1904,
    GL_BLUE = 0x1905,
    GL_ALPHA = 0x1906,
    GL_RGB = 0x1907,
    GL_RGBA = 0x1908,
    GL_LUMINANCE = 0x1909,
    GL_LUMINANCE_ALPHA = 0x190A,
    GL_RGB16 = 0x8054,
    GL_RGBA16 = 0x805B,
    GL_BGR = 0x80E0,
    GL_BGRA = 0x80E1,
    GL_RGBA32F = 0x8814,
    GL_RGB32F = 0x8815,
    GL_RGBA16F = 0x881A,
    GL_RGB16F = 0x881B,
    GL_RGBA32UI = 0x8D70,
    GL_RGB32UI = 0x8D71,
  };

  // Without a session an importer can answer CanImport but never write.
  CImporterBase();
  // The session is not owned and must outlive the importer.
  explicit CImporterBase(CNoxDbI& session);
  // Copies every field, the session pointer included.
  CImporterBase(const CImporterBase& other);
  CImporterBase& operator=(const CImporterBase& other);

  // Slot 0.
  virtual ~CImporterBase();
  // Slot 1: non-zero when the importer takes the file. The base takes any non-empty path.
  virtual int CanImport(const char* path);
  // Slot 2: 0 manager, 2 images, 3 clips.
  virtual int Type() const = 0;

  // Folder in the database that names are joined to; null counts as empty.
  void SetDestinationFolder(const char* folder);
  // Whether OpenDBFile creates a new file in a given folder by name (true) or through
  // CreateEx in that folder (false).
  void SetCreateFolder(const bool& create);
  // Replaces the keywords inserted into each database file; returns their number.
  int SetKeywords(const std::vector<std::string>& keywords);
  // The text of the last error, or null when none is stored. Owned by the importer, valid
  // until the next error is stored.
  const char* GetLastError() const;
  int GetLastErrorCode() const;

  // Hands every entry of the disk folder `path` that matches `filter` (patterns with * and
  // ? separated by ';'; null or empty means every name) to _importFile, and returns the
  // number of files imported. A missing or unreadable folder gives the count so far.
  unsigned long ImportFolder(const char* path, const char* filter, bool overwrite);

  // Kept as an empty operation: writing icons to disk for inspection is not done.
  static void debugWriteImageToFile(const Magick::Image& image, const std::string& path,
                                    const tagSIZE* size);

 protected:
  // Slot 3: builds the database file for `path`; false on failure with the error set.
  virtual bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum,
                        const CUUID* folder, CUUID* uuid, bool createWithUuid) = 0;
  // Slot 4: reads the file into the importer; the base has nothing to read into.
  virtual bool loadFile(const char* path);
  // Slot 5: the picture's GL pixel format (6406 means alpha only); 0 for none.
  virtual unsigned int getImageFormatGL() const;
  // Slot 6: whether icons show the colour and the alpha of the picture side by side.
  virtual bool dualIcon() const;
  // Slot 7: whether icons keep the picture's alpha.
  virtual bool isAlphaSupported() const;
  // Slot 8: asked before a file is imported; false stops the walk.
  virtual bool OnImport(const char* path);
  // Slot 9: told of a file that failed; false stops the walk.
  virtual bool OnImportFailed(const char* path);
  // Slot 10: told of a file that CanImport refused; true stops the walk (the reverse sense
  // of the two callbacks above, kept for compatibility).
  virtual bool OnFileLoaded(const char* path);
  // Slot 11: not called by the library.
  virtual bool OnError(const char* a, const char* b);
  // Slot 12: declares the importer's own units after the standard ones; false makes
  // OpenDBFile fail.
  virtual bool AddSpecialUnits(CNDBFile& file);
  // Slot 13: receives progress texts of the folder walk.
  virtual void DebugInfo(const std::wstring& text);
  // Slots 14 and 15: around every packet a clip importer writes to a unit.
  virtual void OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining);
  virtual void OnPacketTransferred(int packet, unsigned int size, unsigned long long transferred);

  // Stores `code` and the printf-style text. The text is formatted whatever its length; a
  // null or failing format leaves the text empty. A text passed as `format` has its %
  // signs read as conversions.
  void SetLastError(int code, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // The fixed steps of importing one file; returns a word of ImportFileFlags. Exceptions
  // of any step pass through.
  int _importFile(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                  CUUID* uuid);

  // The last component of `path`, either separator counting, without its extension.
  static std::string fileStem(const std::string& path);

  // Joins a folder and a name with exactly one separator ('/' unless one is there).
  std::string makeFileName(const std::string& folder, const std::string& name);
  std::wstring makeFileName(const std::wstring& folder, const std::wstring& name);

  // Bytes of one pixel of `format`; 3 for numbers not in the table. GL_RGB32F counts 3 as
  // well: that number sizes the 8-bit RGB export of such pictures, whose own pixels are
  // written straight from the decoded image.
  int sizePixel(GLFormat format) const;

  // Sets the database file type; true only for a non-zero type with a non-empty name.
  bool initFileType(int type, const char* name);
  // False, with -32764 set on the session, when `uuid` names a file of another type.
  bool isCorrectType(const CUUID* uuid) const;
  // Declares the units of `file` and creates, opens or refuses it. `uuid` is input (the
  // identifier wished for or to open) and output (the file's identifier). On false the
  // error is set, except for the failures that carry no message.
  bool OpenDBFile(CNDBFile& file, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                  bool createWithUuid, CUUID* uuid, int largeIconWidth, int largeIconHeight);
  // Gives up a file whose writing failed: a new file is removed, an opened one is left to
  // the database. Always false, with code 11 set.
  bool DismissCorrupt(CNDBFile& file);

  // Write one token, one value and the closing token to the current unit. An empty string
  // writes nothing; a size is written as two 64-bit numbers.
  void _writeT(CNDBFile& file, TOK::FileToken token, const tagSIZE& value);
  void _writeT(CNDBFile& file, TOK::FileToken token, const std::string& value);
  void _writeT(CNDBFile& file, TOK::FileToken token, short value);
  void _writeT(CNDBFile& file, TOK::FileToken token, int value);
  void _writeT(CNDBFile& file, TOK::FileToken token, double value);
  void _writeT(CNDBFile& file, TOK::FileToken token, unsigned long long value);
  void _writeT(CNDBFile& file, TOK::FileToken token, bool value);

  // Appends the patterns of `filter` to `patterns` and returns the list's size.
  static size_t parseFilter(const char* filter, std::vector<std::wstring>& patterns);
  // Imports the entries of `folder` that match `pattern`; true when every entry gave a
  // clean result. A folder that cannot be searched or has no match gives false.
  bool _importFolder(std::wstring& folder, const std::wstring& pattern, unsigned long& count,
                     bool overwrite);

  // Reads a file into `image`, its rows turned when `flip` is set. False with the error set
  // when the file is missing, unreadable or empty; some Magick warnings still load.
  bool loadImage(Magick::Image& image, const char* path, bool flip);
  // Fits the picture into `box` on a gray canvas (colour and alpha side by side when
  // dualIcon()). Always true; Magick exceptions pass through.
  bool makeIcon(const Magick::Image& image, const Magick::Geometry& box, Magick::Image& icon);
  // The large preview: the picture scaled to `size` when it is higher than `size`, else at
  // its own size, which is then written to `size`. Always true; Magick exceptions pass.
  bool makeIconLarge(const Magick::Image& image, Magick::Geometry& size, Magick::Image& icon);

  CNoxDbI* session;
  std::string destinationFolder;
  std::string name;
  std::string lastError;  // the text and its terminating zero, or empty
  int lastErrorCode;
  int fileType;
  std::string fileTypeName;
  std::vector<std::string> keywords;
  bool createFolder;

 private:
  // Puts the session pointer, the code and the file type back to their defaults.
  void commonBaseInit();
};
