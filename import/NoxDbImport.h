#pragma once
// The library's one-call entry points: import a clip, an image or a folder into a session's
// database, or ask which importer takes a file. Narrow paths are UTF-8; the wide variants
// convert and call the narrow ones. Failure is told only by the result: the importers and
// their messages live on the stack of the call.

#include "import/db/Database.h"

// 0 when the clip was imported, -1 for a bad argument or a failed import.
int ImportClip(CNoxDbI* session, const char* path, bool overwrite);
int ImportClipW(CNoxDbI* session, const wchar_t* path, bool overwrite);

// 0 when the image was imported, -1 for a bad argument or a failed import. `flags` is the
// image importer's option word (compression mode in the low four bits).
int ImportImage(CNoxDbI* session, const char* path, unsigned short flags, bool overwrite);
int ImportImageW(CNoxDbI* session, const wchar_t* path, unsigned short flags, bool overwrite);

// The number of files of the folder `path` (one level) matching `filter` that were imported,
// or -1 for a bad argument. Runs on a plain CImportManager, so a folder with any matching
// entry never returns: the manager's choice recurses until the stack is exhausted.
int ImportFolder(CNoxDbI* session, const char* path, const char* filter, unsigned short flags,
                 bool overwrite);
// As ImportFolder; a null filter is passed on as "*.*".
int ImportFolderW(CNoxDbI* session, const wchar_t* path, const wchar_t* filter,
                  unsigned short flags, bool overwrite);

// The type of the importer for the file: 2 image, 3 clip, 0 none. Asks a plain
// CImportManager, whose choice recurses until the stack is exhausted; use
// CSelectingImportManager to get an answer.
int ImporterCanImport(const char* path);
// As ImporterCanImport; a null path is asked as an empty one.
int ImporterCanImportW(const wchar_t* path);
