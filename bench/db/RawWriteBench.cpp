// Streams a 256 MB file into a database unit with RawWrite, packet by packet as the clip
// importer does, on each store (a SQLite file, a PostgreSQL server), and compares the
// throughput with a plain copy of the same file on the same disk.
// Usage: bench_db [FOLDER [POSTGRESQL_LOCATION]] (default: the current folder and the build
// tree's throwaway cluster, started with scripts/pg-cluster.sh start build/pg).

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/db/BenchStores.h"
#include "bench/support/BenchSupport.h"
#include "db/NDBFile.h"

namespace {

constexpr size_t kTotal = 256u * 1024 * 1024;

// Reads `path` in packets of `packet` bytes and hands each to `sink`.
template <typename Sink>
bool Stream(const std::string& path, size_t packet, Sink sink) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return false;
  std::vector<char> buffer(packet);
  ssize_t n;
  bool ok = true;
  for (size_t index = 0; ok && (n = read(fd, buffer.data(), packet)) > 0; ++index) ok = sink(buffer.data(), size_t(n), index);
  close(fd);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path dir = std::filesystem::path(argc > 1 ? argv[1] : ".") / "bench-db-tmp";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  const std::string source = (dir / "source.bin").string();
  {
    FILE* out = std::fopen(source.c_str(), "wb");
    std::vector<uint32_t> block(1 << 16);
    uint32_t x = 12345;
    for (size_t written = 0; written < kTotal; written += block.size() * 4) {
      for (auto& v : block) v = (x = x * 1664525u + 1013904223u);
      std::fwrite(block.data(), 4, block.size(), out);
    }
    std::fclose(out);
  }
  const double baseline = nox::bench::PeakMiB();

  // Reference: a plain copy through the same packet size, synced to disk at the end. It runs
  // before and after the database, each step after a sync, so that write-back of earlier
  // steps burdens neither side, and the mean of the two is the reference.
  bool copied = true;
  const auto plainCopy = [&] {
    sync();
    const auto begin = std::chrono::steady_clock::now();
    const int fd = open((dir / "copy.bin").string().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    copied = copied && Stream(source, 512000, [&](const char* p, size_t n, size_t) { return write(fd, p, n) == ssize_t(n); });
    fsync(fd);
    close(fd);
    const double seconds = nox::bench::SecondsSince(begin);
    std::filesystem::remove(dir / "copy.bin");
    return seconds;
  };
  const double copyBefore = plainCopy();

  struct Result {
    std::string store;
    double seconds;
    unsigned long long written;
  };
  std::vector<Result> results;
  const nox::bench::BenchStores stores(dir, argc > 2 ? argv[2] : NOX_PG_SERVER);
  for (const auto& store : stores.stores()) {
    CNoxDbI session(store.location.c_str());
    session.CreateFileType(248, "VIDEO_CLIP", false);
    sync();
    const auto start = std::chrono::steady_clock::now();
    const unsigned long long writtenBefore = nox::bench::WrittenBytes();
    bool stored = false;
    {
      CNDBFile file(&session);
      file.AddAttribute("CLIPDATA", nullptr);
      if (file.Create("clip", 248, 1, 0xFFF, nullptr, 0) == 0) {
        const unsigned int packet = session.GetBufferSize();
        const int unit = file.FindUnit("CLIPDATA");
        bool flag = true;
        stored = Stream(source, packet, [&](const char* p, size_t n, size_t index) {
          return file.RawWrite(unit, static_cast<int>(index * (packet / 51200)), p, unsigned(n), &flag) == n;
        });
        stored = stored && file.Close(nullptr, true) == 0;
      }
    }
    if (!stored) {
      std::fprintf(stderr, "bench_db: RawWrite on %s failed: %s\n", store.name.c_str(), session.GetLastErrorStr());
      return 1;
    }
    results.push_back({store.name, nox::bench::SecondsSince(start), nox::bench::WrittenBytes() - writtenBefore});
  }
  const double copySeconds = (copyBefore + plainCopy()) / 2;
  if (!copied) {
    std::fprintf(stderr, "bench_db: the copy failed\n");
    return 1;
  }
  const double mb = kTotal / 1e6;
  std::printf("%-36s %10s %10s %8s\n", "256 MB into one unit", "seconds", "MB/s", "ratio");
  std::printf("%-36s %10.2f %10.1f %8.2f\n", "plain file copy + fsync", copySeconds, mb / copySeconds, 1.0);
  for (const Result& r : results) {
    std::printf("%-36s %10.2f %10.1f %8.2f\n", ("RawWrite + commit, " + r.store).c_str(), r.seconds,
                mb / r.seconds, copySeconds / r.seconds);
  }
  std::printf("ratio: plain copy time / store time (1 = as fast as the copy)\n");
  // A server's writes are its own and not counted here.
  for (const Result& r : results) {
    if (r.written == 0) continue;
    std::printf("bytes written to disk for %s: %llu (%.2f times the data)\n", r.store.c_str(), r.written,
                double(r.written) / kTotal);
  }
  if (!stores.skipped().empty()) std::printf("PostgreSQL skipped: %s", stores.skipped().c_str());
  std::printf("peak memory: %.0f MiB (%.0f MiB before the runs)\n", nox::bench::PeakMiB(), baseline);
  std::filesystem::remove_all(dir);
  return 0;
}
