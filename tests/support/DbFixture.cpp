#include "tests/support/DbFixture.h"

#include <libpq-fe.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace nox::test {
namespace {

// The throwaway cluster of the build tree, started by the CTest fixture pg_server
// (scripts/pg-cluster.sh).
const std::string kServer = std::string("postgresql:///postgres?host=") + NOX_PG_DIR + "&user=noxdb";

}  // namespace

std::string DbTest::OnServer(const std::string& sql) {
  PGconn* conn = PQconnectdb(kServer.c_str());
  PQsetNoticeProcessor(
      conn, [](void*, const char*) {}, nullptr);
  PGresult* r = PQexec(conn, sql.c_str());
  const std::string error = PQresultStatus(r) == PGRES_COMMAND_OK ? "" : PQerrorMessage(conn);
  PQclear(r);
  PQfinish(conn);
  return error;
}

std::string StoreName(const ::testing::TestParamInfo<StoreKind>& info) {
  return info.param == StoreKind::Sqlite ? "Sqlite" : "Postgres";
}

std::string LE(uint64_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>(value >> (8 * i)));
  return out;
}

std::string TextUnit(const std::string& text) {
  return "T" + LE(100, 2) + "V" + LE(text.size() + 4, 4) + LE(text.size(), 4) + text + "T" + LE(65435, 2);
}

std::string UnitBytesOf(CNDBFile& file, int unit) {
  std::string out, buffer(512000, '\0');
  bool flag = false;
  for (unsigned int n; (n = file.RawRead(unit, out.size(), buffer.data(), 512000, &flag)) != 0 && n != 0xFFFFFFFF;) {
    out.append(buffer.data(), n);
  }
  return out;
}

std::string Missing(const std::string& text, const std::vector<std::string>& parts) {
  std::string missing;
  for (const auto& part : parts) {
    if (!Includes(text, part)) missing += part + "\n";
  }
  return missing;
}

ToolRun RunCommand(const std::string& command, const TempDir& scratch) {
  const std::string errors = scratch.File("stderr.txt");
  FILE* pipe = popen((command + " 2>'" + errors + "'").c_str(), "r");
  ToolRun run;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = ReadFile(errors);
  return run;
}

void DbTest::SetUp() {
  static int count = 0;
  if (kind_ == StoreKind::Postgres) schema_ = "t" + std::to_string(getpid()) + "_" + std::to_string(++count);
  path_ = schema_.empty() ? dir_.File("media.noxdb") : kServer + "&options=-csearch_path%3D" + schema_;
  if (const std::string error = schema_.empty() ? "" : OnServer("CREATE SCHEMA " + schema_); !error.empty()) {
    const std::string why = ReadFile(std::string(NOX_PG_DIR) + "/unavailable");
    schema_.clear();
    GTEST_SKIP() << "no PostgreSQL server: " << (why.empty() ? error : why);
  }
  FreshDatabase();
}

void DbTest::TearDown() {
  session_.reset();
  if (!schema_.empty()) {
    EXPECT_EQ(OnServer("DROP SCHEMA " + schema_ + " CASCADE"), "");
  }
}

void DbTest::FreshDatabase() {
  session_.reset();
  if (schema_.empty()) {
    std::filesystem::remove(path_);
  } else {
    ASSERT_EQ(OnServer("DROP SCHEMA " + schema_ + " CASCADE; CREATE SCHEMA " + schema_), "");
  }
  session_ = std::make_unique<CNoxDbI>(path_.c_str());
  ASSERT_TRUE(session_->IsValid()) << session_->GetLastErrorStr();
  ASSERT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
  ASSERT_TRUE(session_->CreateFileType(kClipType, "VIDEO_CLIP", false));
}

std::unique_ptr<CNDBFile> DbTest::NewFile(const std::string& name, const std::vector<std::string>& units, int type,
                                          const CNOFChecksum* checksum) {
  auto file = std::make_unique<CNDBFile>(session_.get());
  for (const auto& u : units) file->AddAttribute(u.c_str(), nullptr);
  EXPECT_EQ(file->Create(name.c_str(), type, file->GetFileUnitCount(), 0xFFF, checksum, 0), 0)
      << session_->GetLastErrorStr();
  return file;
}

CUUID DbTest::MakeFile(const std::string& name, int type, const std::vector<std::string>& units,
                       const CNOFChecksum* checksum) {
  auto file = NewFile(name, units, type, checksum);
  for (const auto& u : units) {
    EXPECT_EQ(file->SelectUnit(u.c_str(), 0, false), 0);
    *file << TOK::FileToken(100) << ("content of " + u) << TOK::Closing(TOK::FileToken(100));
  }
  EXPECT_EQ(file->GetLastError(), 0);
  return file->GetUuid();
}

Units DbTest::ReadBack(CNoxDbI& session, const CUUID& id) {
  CNDBFile file(&session);
  FileState state;
  Units units;
  if (file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0 || !file.GetFileStatus(state)) return units;
  for (const auto& u : state.units) units.emplace_back(u.name(), UnitBytesOf(file, u.index()));
  return units;
}

std::string DbTest::StoredBytes(CNoxDbI& session, const CUUID& id, const std::string& unit) {
  for (const auto& [name, bytes] : ReadBack(session, id)) {
    if (name == unit) return bytes;
  }
  return "";
}

ToolRun DbTest::Noxdb(const std::string& tool, const std::string& args, const std::string& db) const {
  return RunCommand(tool + " --db '" + (db.empty() ? path_ : db) + "' " + args, dir_);
}

}  // namespace nox::test
