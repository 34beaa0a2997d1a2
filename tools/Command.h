#pragma once
// The frame of noxdb's subcommands: each is a CLI11 subcommand with the way it opens the
// database and a function that runs it. A command added in its own file registers itself
// with Commands::Add from one call in noxdb.cpp.

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "db/storage/Store.h"
#include "import/db/Database.h"

namespace nox::tools {

// Exit statuses of noxdb.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// A failure that ends the command: one line on standard error and exit status 1.
struct Failure {
  std::string message;
};
[[noreturn]] void Fail(const std::string& message);

// What every command can read: the database path and whether library output is wanted.
struct Options {
  std::string database;
  bool verbose = false;
};

class Commands {
 public:
  // The exit status of the command, or throws Failure.
  using Run = std::function<int(CNoxDbI& session)>;

  // `mode`: ReadOnly for commands that only read (they work on read-only media), Existing
  // for those that change a database, Create for those that may make one.
  void Add(CLI::App* command, noxdb::OpenMode mode, Run run);
  // Runs the subcommand that was parsed; its exit status.
  int RunParsed(const Options& options) const;

 private:
  struct Entry {
    CLI::App* command;
    noxdb::OpenMode mode;
    Run run;
  };
  std::vector<Entry> entries_;
};

// While alive, the library's debug lines (it prints them to standard output) go nowhere,
// or to standard error when `verbose`, so that the tool's own output stays clean.
class LibraryOutput {
 public:
  explicit LibraryOutput(bool verbose);
  ~LibraryOutput();
  LibraryOutput(const LibraryOutput&) = delete;
  LibraryOutput& operator=(const LibraryOutput&) = delete;

 private:
  int saved_ = -1;
};

}  // namespace nox::tools
