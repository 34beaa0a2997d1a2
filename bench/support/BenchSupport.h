#pragma once
// Timing and memory readings shared by the benchmarks.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

namespace nox::bench {

inline double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The best of `runs` timings of `work`, in seconds.
inline double TimeBest(int runs, const std::function<void()>& work) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, SecondsSince(start));
  }
  return best;
}

// The process's peak resident size so far, in MiB.
inline double PeakMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;  // kilobytes on Linux
}

// Bytes this process has handed to write() so far (Linux /proc), or 0 where unknown.
inline unsigned long long WrittenBytes() {
  unsigned long long bytes = 0;
  if (FILE* io = std::fopen("/proc/self/io", "r")) {
    if (std::fscanf(io, "rchar: %*u wchar: %llu", &bytes) != 1) bytes = 0;
    std::fclose(io);
  }
  return bytes;
}

}  // namespace nox::bench
