#pragma once
// Database fixtures shared by the engine's and the tools' tests: a fresh database in a
// temporary folder with the importers' two file types, simple files, reading units back, and
// running the noxdb tool.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "import/db/Database.h"
#include "tests/support/TempDir.h"

namespace nox::test {

constexpr int kImageType = 49;
constexpr int kClipType = 248;

// All stored bytes of a unit of an open file.
std::string UnitBytesOf(CNDBFile& file, int unit);

// What a run of a command printed and how it ended (-1 when it did not exit).
struct ToolRun {
  int status = -1;
  std::string out, err;
};
// Runs a shell command, keeping its standard output and standard error apart.
ToolRun RunCommand(const std::string& command, const TempDir& scratch);

class DbTest : public ::testing::Test {
 protected:
  void SetUp() override;

  // Creates a file whose units each hold one string token record, in the current folder.
  CUUID MakeFile(const std::string& name, int type, const std::vector<std::string>& units);
  // The string of a unit written by MakeFile, or "" when the unit or file is missing.
  std::string UnitText(CNoxDbI& session, const CUUID& id, const std::string& unit);
  std::string UnitText(const CUUID& id, const std::string& unit) { return UnitText(*session_, id, unit); }
  // All bytes of a unit of a stored file, "" when it cannot be read.
  std::string StoredBytes(CNoxDbI& session, const CUUID& id, const std::string& unit);
  // Runs the noxdb tool at `tool` on this test's database (or on `db`).
  ToolRun Noxdb(const std::string& tool, const std::string& args, const std::string& db = "") const;

  TempDir dir_;
  std::string path_;
  std::unique_ptr<CNoxDbI> session_;
};

}  // namespace nox::test
