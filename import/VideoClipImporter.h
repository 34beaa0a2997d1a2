#pragma once
// CVideoClipImporter: imports a video clip described by a small XML file. The description's
// fields become a token record, the thumbnail becomes icons, and the bytes of the clip and
// of its low-resolution proxy are copied, never decoded, into units of their own.

#include "import/ClipDescription.h"
#include "import/ImporterBase.h"
#include "import/db/Database.h"

class CVideoClipImporter : public CImporterBase {
 public:
  // Names of the units that hold the clip's bytes and the proxy's bytes.
  static const char* const UNIT_CLIPDATA;
  static const char* const UNIT_CLIPDATA_LORES;

  // Without a session the importer can judge descriptions but not import them.
  CVideoClipImporter();
  // The session is not owned and must outlive the importer.
  explicit CVideoClipImporter(CNoxDbI& session);
  ~CVideoClipImporter() override;

  // Reads and judges the description at `path` (UTF-8) and keeps what it read for the
  // import that follows. Returns 3 when the clip can be imported, else 0. Files that are not
  // well-formed XML, and descriptions that lack a required field, give 0 with no message;
  // an unreadable clip, thumbnail or proxy gives 0 with code 8 and a message.
  int CanImport(const char* path) override;
  // 3, the type of clip importers.
  int Type() const override;

  // Imports the clip described at `path`: true when a database file was written. `folder`
  // is the database folder to create in (null: the session's current one), `checksum` the
  // caller's checksum of the clip, or null to have the clip digested. `uuid`, when given,
  // names the file to open or create and receives the file's identifier. On false,
  // GetLastError() tells why, unless the description was refused without a message.
  virtual bool Import(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID& folder,
                      CUUID* uuid);

  // Whether a fresh importer would take the description at `path`; what it read is not kept.
  static bool IsImportable(const char* path);

 protected:
  // Writes the file from what the preceding CanImport read on this object; `createWithUuid`
  // is not used. Exceptions of Magick pass through.
  bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                CUUID* uuid, bool createWithUuid) override;
  // Does nothing and returns true: CanImport has read everything.
  bool loadFile(const char* path) override;
  // Declares the icon sizes and the two byte units. Always true.
  bool AddSpecialUnits(CNDBFile& file) override;

  // Fills the units of an open file: icons, the token record, proxy and clip bytes. True
  // when the file reports no error afterwards; a failed copy of a missing or unreadable
  // source shows only if the database reports an error.
  bool writeTo(CNDBFile& file);
  // Writes the token record of the description to UNIT_DATA; false only when the unit
  // cannot be selected.
  bool writeDataUnit(CNDBFile& file);
  // Attaches the files named by additionalMetaData as add-ons; true when there is nothing
  // to attach or the database took them.
  bool assignAddOns(CNDBFile& file);
  // Copy the clip and the proxy into their units, as _writeBinFileToUnit does.
  bool writeClipData(CNDBFile& file);
  bool writeClipLowRes(CNDBFile& file);
  // Streams the file at `path` (UTF-8) into the unit `unit` in packets of the session's
  // buffer size, around each the packet callbacks. True when every byte was written; an
  // empty file is a success that writes nothing. A missing or unopenable file gives false
  // and leaves the database untouched; a file that yields fewer bytes than its size gives
  // false and marks `file` as failed, so that a truncated copy is never kept.
  bool _writeBinFileToUnit(CNDBFile& file, const char* unit, const char* path);

  ClipDescription description;
  bool iconLoaded;  // whether doImport could load the thumbnail
  CNPBM iconSmall;  // 64 by 64, made by doImport; writeTo makes its own
  CNPBM iconLarge;  // made by doImport; its size is declared and its pixels stored

 private:
  void commonInit();
  // Stores the text of the field numbered `number`; paths are joined to `folder`.
  void setField(int number, const char* text, const std::string& folder);
  // The test of the readable files that ends CanImport: 3, or 0 with the message set.
  int checkAvailability();
  // An icon of `source` fitted into `box`, as an RGB bitmap of the box's size.
  CNPBM iconOf(const Magick::Image& source, const Magick::Geometry& box);
};
