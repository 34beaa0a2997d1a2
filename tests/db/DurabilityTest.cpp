// What survives: a writer killed at any moment and a store that fails at every possible
// change, on every store. Many processes writing at once are run by
// tests/tools/kill_campaign.sh and the concurrent imports of the tool's tests.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "db/storage/FaultStore.h"
#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

// The units of a clip WriteClip writes: a text and `chunks` raw packets.
Units Clip(bool overwrite, int chunks) {
  std::string raw;
  for (int i = 0; i < chunks; ++i) raw += PseudoRandomBytes(512000, overwrite ? 2 : 1);
  return {{"text", TextUnit(overwrite ? "new" : "first")}, {"raw", raw}};
}

// Writes Clip(overwrite, chunks) as a new file or over the old one. With `ready`, writes a
// byte to it after the first packets and keeps writing slowly, so that a parent can kill it
// there.
int WriteClip(CNoxDbI& session, const char* name, bool overwrite, int chunks, int ready = -1) {
  CNDBFile f(&session);
  f.AddAttribute("text", nullptr);
  f.AddAttribute("raw", nullptr);
  const int rc = overwrite ? f.Open(name, CNDBFile::kModeRewrite, 2, kClipType, nullptr, 0)
                           : f.Create(name, kClipType, 2, 0xFFF, nullptr, 0);
  if (rc) return rc;
  f.SelectUnit("text", 0, false);
  f << TOK::FileToken(100) << std::string(overwrite ? "new" : "first") << TOK::FileToken(65435);
  const std::string packet = PseudoRandomBytes(512000, overwrite ? 2 : 1);
  bool flag = true;
  for (int i = 0; i < chunks; ++i) {
    if (f.RawWrite(f.FindUnit("raw"), i * 10, packet.data(), 512000, &flag) != 512000) return -1;
    // Pages written into the database file first, so that the kill leaves them to roll back.
    if (ready >= 0 && i == 2 && (f.GetLastError() != 0 || write(ready, "x", 1) != 1)) return -1;
    if (ready >= 0 && i >= 2) usleep(20000);
  }
  const int rc2 = f.GetLastError();
  const int rc3 = f.Close(nullptr, true);
  return rc2 ? rc2 : rc3;
}

// A writer killed mid-file, new or overwriting: the database holds the old file whole and
// nothing of the new one, and takes writes again at once.
TEST_P(StoreTest, AWriterKilledMidFileLeavesNoTrace) {
  ASSERT_EQ(WriteClip(*session_, "keep", false, 3), 0);
  const CUUID keep = session_->GetUuid("keep", kClipType, nullptr);
  session_.reset();
  for (const bool overwrite : {false, true}) {
    int pipefd[2];
    ASSERT_EQ(pipe(pipefd), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(pipefd[0]);
      CNoxDbI session(path_.c_str());
      WriteClip(session, overwrite ? "keep" : "fresh", overwrite, 1000, pipefd[1]);
      _exit(0);
    }
    close(pipefd[1]);
    char c;
    ASSERT_EQ(read(pipefd[0], &c, 1), 1);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    close(pipefd[0]);
    ASSERT_TRUE(WIFSIGNALED(status));

    // A reader first: the dead writer's leftovers must not keep it out.
    CNoxDbI reader(path_.c_str(), noxdb::OpenMode::ReadOnly);
    ASSERT_TRUE(reader.IsValid()) << reader.GetLastErrorStr();
    EXPECT_TRUE(reader.GetUuid("fresh", kClipType, nullptr).IsNull());
    EXPECT_TRUE(ReadBack(reader, keep) == Clip(false, 3));
    CNoxDbI writer(path_.c_str());
    EXPECT_EQ(WriteClip(writer, overwrite ? "later2" : "later", false, 1), 0);
  }
}

// Fails the store at its n-th change, for every n an import makes: the database must then
// hold the old file and no new one, or everything.
TEST_P(StoreTest, AStoreFailingAtAnyChangeLeavesWholeFilesOnly) {
  noxdb::FaultStore* fault = nullptr;
  auto faulty = [&] {
    noxdb::Status st;
    auto store = std::make_unique<noxdb::FaultStore>(noxdb::OpenStore(path_, &st));
    fault = store.get();
    return std::make_unique<CNoxDbI>(std::move(store));
  };
  int changes = 0;
  for (int n = 0; n == 0 || n <= changes; ++n) {
    FreshDatabase();
    ASSERT_EQ(WriteClip(*session_, "keep", false, 1), 0);
    const CUUID keep = session_->GetUuid("keep", kClipType, nullptr);
    session_.reset();
    auto session = faulty();
    fault->FailFrom(n);
    const bool overwritten = WriteClip(*session, "keep", true, 3) == 0;
    const bool created = WriteClip(*session, "fresh", false, 3) == 0;
    if (n == 0) changes = fault->Changes();
    session.reset();
    ASSERT_GT(changes, 10);
    CNoxDbI after(path_.c_str());
    ASSERT_TRUE(after.IsValid());
    EXPECT_TRUE(ReadBack(after, keep) == (overwritten ? Clip(true, 3) : Clip(false, 1))) << n;
    const CUUID fresh = after.GetUuid("fresh", kClipType, nullptr);
    EXPECT_TRUE(ReadBack(after, fresh) == (created ? Clip(false, 3) : Units{})) << n;
  }
  // A file whose writing failed once is not kept, even when the store works again at its end.
  // A large binary is stored at once, a small one when the writer asks for errors.
  auto session = faulty();
  for (const int size : {10, 1100000}) {
    CNDBFile f(session.get());
    f.AddAttribute("u", nullptr);
    ASSERT_EQ(f.Create("flaky", kClipType, 1, 0xFFF, nullptr, 0), 0);
    ASSERT_EQ(f.SelectUnit("u", 0, false), 0);
    fault->FailFrom(1);
    EXPECT_EQ(f.WriteBinary(std::string(size, 'b').data(), size), size < 512000 ? size : 0);
    EXPECT_NE(f.GetLastError(), 0);
    fault->FailFrom(0);
  }
  EXPECT_TRUE(session->GetUuid("flaky", kClipType, nullptr).IsNull());
}

}  // namespace
}  // namespace nox::test
