#pragma once
// The import-clip command of noxdb: one clip description into a database, with a progress
// line for large media.

#include <string>

#include "import/db/Database.h"

namespace nox::tools {

// Media of at least this many bytes get a progress line on standard error.
constexpr unsigned long long kProgressFrom = 10'000'000;

// Imports the clip described at `description` into the session's current folder, replacing
// a clip of the same name when `overwrite` is set. Large media are refused up front when
// the device holding `database` (the session's file) lacks the space for them. On success
// returns an empty text and sets `*id` to the file's identifier; on failure the reason.
std::string ImportClip(CNoxDbI& session, const std::string& database,
                       const std::string& description, bool overwrite, CUUID* id);

}  // namespace nox::tools
