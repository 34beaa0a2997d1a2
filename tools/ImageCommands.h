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

}  // namespace nox::tools
