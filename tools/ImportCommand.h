#pragma once
// `noxdb import PATH...`: pictures and clip descriptions, files and folders, on several
// workers, with a progress display and a summary on standard error.

#include <CLI/CLI.hpp>

#include "tools/Command.h"

namespace nox::tools {

// Registers the command. Exit status 0 when every file went in or was a skipped duplicate,
// 1 when some failed.
void AddImport(CLI::App& app, Commands& commands, const Options& options);

}  // namespace nox::tools
