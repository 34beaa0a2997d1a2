#pragma once
// noxdb's commands for stored images: compress one in place, export a unit as a file a
// person can open, and the image details that `info` shows.

#include <CLI/CLI.hpp>

#include "tools/Command.h"

namespace nox::tools {

// Registers `compress` and `export`.
void AddImageCommands(CLI::App& app, Commands& commands, const Options& options);
// Prints the compression, the levels with their sizes and the stored layout of the image
// file `id`; prints nothing for files that hold no image record.
void PrintImageDetails(CNoxDbI& session, const CUUID& id);
// Writes the icon in `unit` ("IconSmall", "IconDefault" or "IconLarge") of the open file as
// the PNG file `out`; throws Failure when the unit holds no readable icon or `out` cannot be
// written.
void ExportIcon(CNDBFile& file, const std::string& unit, const std::string& out);

}  // namespace nox::tools
