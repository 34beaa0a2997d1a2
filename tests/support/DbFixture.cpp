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
  std::string error;
  if (PQstatus(conn) != CONNECTION_OK) {
    error = PQerrorMessage(conn);
  } else {
    PQsetNoticeProcessor(conn, [](void*, const char*) {}, nullptr);
    PGresult* r = PQexec(conn, sql.c_str());
    if (PQresultStatus(r) != PGRES_COMMAND_OK) error = PQerrorMessage(conn);
    PQclear(r);
  }
  PQfinish(conn);
  return error;
}

std::string StoreName(const ::testing::TestParamInfo<StoreKind>& info) {
  return info.param == StoreKind::Sqlite ? "Sqlite" : "Postgres";
}

std::string UnitBytesOf(CNDBFile& file, int unit) {
  std::string out;
  std::vector<char> buffer(512000);
  bool flag = false;
  for (unsigned long long offset = 0;;) {
    const unsigned int n = file.RawRead(unit, offset, buffer.data(), 512000, &flag);
    if (n == 0 || n == 0xFFFFFFFF) break;
    out.append(buffer.data(), n);
    offset += n;
  }
  return out;
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
  if (kind_ == StoreKind::Sqlite) {
    path_ = dir_.File("media.noxdb");
  } else {
    static int count = 0;
    schema_ = "t" + std::to_string(getpid()) + "_" + std::to_string(++count);
    path_ = kServer + "&options=-csearch_path%3D" + schema_;
    const std::string error = OnServer("CREATE SCHEMA " + schema_);
    if (!error.empty()) {
      const std::string why = ReadFile(std::string(NOX_PG_DIR) + "/unavailable");
      schema_.clear();
      GTEST_SKIP() << "no PostgreSQL server: " << (why.empty() ? error : why);
    }
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
  if (kind_ == StoreKind::Sqlite) {
    std::filesystem::remove(path_);
  } else {
    ASSERT_EQ(OnServer("DROP SCHEMA " + schema_ + " CASCADE; CREATE SCHEMA " + schema_), "");
  }
  session_ = std::make_unique<CNoxDbI>(path_.c_str());
  ASSERT_TRUE(session_->IsValid()) << session_->GetLastErrorStr();
  ASSERT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
  ASSERT_TRUE(session_->CreateFileType(kClipType, "VIDEO_CLIP", false));
}

std::unique_ptr<CNDBFile> DbTest::NewFile(const std::string& name, const std::vector<std::string>& units,
                                          int type, const CNOFChecksum* checksum) {
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

std::string DbTest::UnitText(CNoxDbI& session, const CUUID& id, const std::string& unit) {
  CNDBFile file(&session);
  if (file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0) return "";
  if (file.SelectUnit(unit.c_str(), 0, false) != 0 || file.ReadNextTokenEx() != 100) return "";
  unsigned int length = 0;
  file >> length;
  std::string text(length, '\0');
  file.Read(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(length));
  return text;
}

std::string DbTest::StoredBytes(CNoxDbI& session, const CUUID& id, const std::string& unit) {
  CNDBFile file(&session);
  if (file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0) return "";
  const int index = file.FindUnit(unit.c_str());
  return index < 1 ? "" : UnitBytesOf(file, index);
}

ToolRun DbTest::Noxdb(const std::string& tool, const std::string& args, const std::string& db) const {
  return RunCommand(tool + " --db '" + (db.empty() ? path_ : db) + "' " + args, dir_);
}

}  // namespace nox::test
