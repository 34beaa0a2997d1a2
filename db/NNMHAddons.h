#pragma once
// Add-ons: regular files stored beside a database file (metadata, sidecars). They belong to
// the file, not to its unit list, so rewriting the file's units keeps them.

#include <string>

#include "db/NDBConstants.h"
#include "db/NoxDbI.h"
#include "db/Uuid.h"

// Results of the add-on functions: 1 is success.
enum ENErrorCode : int {
  NMH_FAILED = 0,
  NMH_OK = 1,
  NMH_FILE_NOT_FOUND = 2,     // no database file with that identifier
  NMH_SOURCE_UNREADABLE = 3,  // the path is missing or cannot be read
  NMH_STORAGE_FAILED = 4,
  NMH_CANCELLED = 5,          // the progress callback answered false
};

// How add-on bytes travel; 4 copies them and leaves the source in place.
enum ENMHTransfer : int { NMH_TRANSFER_COPY = 4 };

namespace NNMHAddons {

// The progress callback is called once per stored add-on; false cancels the import, which
// then stores nothing. It may be null.
using Progress = bool (*)(void*);

// Sets `has` to whether the file has add-ons.
ENErrorCode HasAddons(CNoxDbI& session, const CUUID& file, bool& has,
                      CNDBConstants::DBERROR& error, Progress callback, void* argument);
// Removes all add-ons of the file.
ENErrorCode RemoveAddons(CNoxDbI& session, const CUUID& file, CNDBConstants::DBERROR& error,
                         Progress callback, void* argument);
// Stores `path` as an add-on when it is a regular file, or each regular file directly in it
// when it is a folder (in byte order of their names), under its own name. An add-on of the
// same name is replaced. All or nothing: on failure no add-on changes.
ENErrorCode ImportAddons(CNoxDbI& session, const CUUID& file, const std::string& path,
                         ENMHTransfer transfer, CNDBConstants::DBERROR& error, Progress callback,
                         void* argument);

// The bytes of one add-on; 0 or a negative code.
int ReadAddon(CNoxDbI& session, const CUUID& file, const std::string& name, std::string* bytes);

}  // namespace NNMHAddons
