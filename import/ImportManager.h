#pragma once
// CImportManager: an importer that holds one image importer and one clip importer and
// picks between them per file, the clip importer first. CSelectingImportManager is the
// manager to use when a choice must be made: the plain manager's CanImport and GetImporter
// call each other without end, which is how the class has always behaved.

#include "import/ImageImporter.h"
#include "import/ImporterBase.h"
#include "import/VideoClipImporter.h"
#include "import/db/Database.h"

class CImportManager : public CImporterBase {
 public:
  // The flag word becomes the image importer's option word; clips take no flags.
  CImportManager(CNoxDbI& session, unsigned long flags);
  // Without a session: for questions only.
  explicit CImportManager(unsigned long flags);
  // Member by member; the chosen importer is copied as it is, so a copy that was made after a
  // choice points into the source object.
  CImportManager(const CImportManager& other);
  CImportManager& operator=(const CImportManager& other);
  ~CImportManager() override;

  // Type() of the importer GetImporter chooses, or 0.
  int CanImport(const char* path) override;
  // 0.
  int Type() const override;

  // Chooses the importer for `path` (clip before image) and returns it, or null with code 12
  // "Unknown file type." on the manager. The destination folder and keywords are handed to
  // the chosen importer only when it differs from the one chosen before.
  CImporterBase* GetImporter(const char* path);
  // Imports `path` with the importer chosen for it: 1 on success, 0 otherwise. The chosen
  // importer keeps its own message; the manager shows only what the choice left. `checksum`,
  // `folder` and `uuid` may each be null.
  int Import(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
             CUUID* uuid);

 protected:
  // Has the importer chosen last write the file, and takes over its error as a format.
  bool doImport(const char* path, bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                CUUID* uuid, bool createWithUuid) override;

  CImageImporter imageImporter;
  CVideoClipImporter clipImporter;
  CImporterBase* currentImporter;  // one of the two above, or null; never owned

 private:
  void commonInit();
};

// A manager on which the choice completes: its CanImport asks the two importers directly
// (clip first) instead of going back through GetImporter. Magick exceptions of the image
// probe pass through, as they do from the image importer.
class CSelectingImportManager : public CImportManager {
 public:
  using CImportManager::CImportManager;

  // Type() of the first importer that takes the file, or 0.
  int CanImport(const char* path) override;

  // The importer chosen last, or null.
  const CImporterBase* CurrentImporter() const { return currentImporter; }
};
