#pragma once
// `noxdb gallery OUT_FOLDER`: a page to look at a database in a browser. OUT_FOLDER/index.html
// shows every file, folder by folder, with its icon (linking to its large icon), name, type,
// size, checksum, compression and keywords; the icons are exported beside it as PNG files
// named after the file's identifier. Reads the database only.

#include <CLI/CLI.hpp>

#include "tools/Command.h"

namespace nox::tools {

// Registers the command. Exit status 0, or 1 when some icon could not be exported (the page
// is written all the same, without that picture).
void AddGallery(CLI::App& app, Commands& commands, const Options& options);

}  // namespace nox::tools
