#pragma once
// Database fixtures shared by the engine's and the tools' tests: a fresh database (a file in a
// temporary folder, or a schema of its own on the build tree's throwaway PostgreSQL cluster)
// with the importers' two file types, simple files, reading units back, and running the
// noxdb tool.

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
// The units of a stored file in order, each with its stored bytes.
using Units = std::vector<std::pair<std::string, std::string>>;
// The little-endian bytes of `value`.
std::string LE(uint64_t value, int bytes);
// The stored bytes of a unit holding token 100, one string and the closing token: what
// MakeFile writes.
std::string TextUnit(const std::string& text);

// Whether `text` holds `part`.
inline bool Includes(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
// The parts that `text` lacks, one a line: "" when it holds them all.
std::string Missing(const std::string& text, const std::vector<std::string>& parts);

// What a run of a command printed and how it ended (-1 when it did not exit).
struct ToolRun {
  int status = -1;
  std::string out, err;
};
// Runs a shell command, keeping its standard output and standard error apart.
ToolRun RunCommand(const std::string& command, const TempDir& scratch);

enum class StoreKind { Sqlite, Postgres };
// Test name suffixes: "Sqlite", "Postgres".
std::string StoreName(const ::testing::TestParamInfo<StoreKind>& info);
inline void PrintTo(StoreKind kind, std::ostream* os) { *os << StoreName({kind, 0}); }

class DbTest : public ::testing::Test {
 protected:
  // Skips, saying why, a PostgreSQL test when no server is there.
  void SetUp() override;
  void TearDown() override;

  // Replaces this test's database with a fresh one holding the two file types; the session
  // is reopened on it.
  void FreshDatabase();

  // A new file with the given units declared, open for writing, in the current folder.
  std::unique_ptr<CNDBFile> NewFile(const std::string& name, const std::vector<std::string>& units,
                                    int type = kImageType, const CNOFChecksum* checksum = nullptr);
  // Creates a file whose unit u holds TextUnit("content of u"), in the current folder.
  CUUID MakeFile(const std::string& name, int type, const std::vector<std::string>& units,
                 const CNOFChecksum* checksum = nullptr);
  // Every unit of a stored file; empty when the file does not open.
  static Units ReadBack(CNoxDbI& session, const CUUID& id);
  Units ReadBack(const CUUID& id) { return ReadBack(*session_, id); }
  // All bytes of a unit of a stored file, "" when it cannot be read.
  std::string StoredBytes(CNoxDbI& session, const CUUID& id, const std::string& unit);
  // Runs SQL on the PostgreSQL server; "" or the reason it failed.
  static std::string OnServer(const std::string& sql);
  // Runs the noxdb tool at `tool` on this test's database (or on `db`).
  ToolRun Noxdb(const std::string& tool, const std::string& args, const std::string& db = "") const;

  StoreKind kind_ = StoreKind::Sqlite;
  TempDir dir_;
  std::string path_;  // the database's location: a file path or a server location
  std::string schema_;
  std::unique_ptr<CNoxDbI> session_;
};

// The fixture `Base` on every store: instantiate with
// INSTANTIATE_TEST_SUITE_P(Stores, Name, EveryStore(), StoreName).
template <class Base>
class OnEveryStore : public Base, public ::testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    this->kind_ = GetParam();
    Base::SetUp();
  }
};
inline auto EveryStore() { return ::testing::Values(StoreKind::Sqlite, StoreKind::Postgres); }
// The engine's tests, on every store.
using StoreTest = OnEveryStore<DbTest>;

}  // namespace nox::test
