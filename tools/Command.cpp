#include "tools/Command.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace nox::tools {

void Fail(const std::string& message) { throw Failure{message}; }

void Commands::Add(CLI::App* command, noxdb::OpenMode mode, Run run) {
  entries_.push_back({command, mode, std::move(run)});
}

int Commands::RunParsed(const Options& options) const {
  for (const Entry& e : entries_) {
    if (!e.command->parsed()) continue;
    struct stat st {};
    // A database on a server has no path to look at; the server says whether it exists.
    if (e.mode != noxdb::OpenMode::Create && !noxdb::IsServerLocation(options.database) &&
        stat(options.database.c_str(), &st) != 0) {
      Fail("no database at '" + options.database + "'");
    }
    CNoxDbI session(options.database.c_str(), e.mode);
    if (!session.IsValid()) Fail(session.GetLastErrorStr());
    return e.run(session);
  }
  return kExitUsage;
}

LibraryOutput::LibraryOutput(bool verbose) {
  std::fflush(stdout);
  saved_ = dup(STDOUT_FILENO);
  const int target = verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (saved_ >= 0 && target >= 0) dup2(target, STDOUT_FILENO);
  if (target >= 0) close(target);
}

LibraryOutput::~LibraryOutput() {
  std::fflush(stdout);
  if (saved_ >= 0) {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
}

}  // namespace nox::tools
