// noxdb import of a folder of 200 photo-like pictures (2048 x 1536, half JPEG, half PNG), with
// --jobs 1 and --jobs 2, stored as they come and DXT5-compressed with mip levels. Prints
// pictures per second and the ratio of two workers to one.
// Usage: bench_import_folder [PICTURES] (default 200).

#include <Magick++.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/support/BenchSupport.h"
#include "bench/texture/BenchPictures.h"

namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 2048, kHeight = 1536;
// Distinct pictures; the folder holds copies of them under their own names.
constexpr int kDistinct = 8;

// CPU seconds of the finished child processes so far.
double ChildCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The machine's load over the last minute: other work on the cores shows in every figure.
double LoadAverage() {
  double load = 0;
  return getloadavg(&load, 1) == 1 ? load : -1;
}

// Pictures per second of one noxdb import run on a fresh database; negative when it failed.
// `cpu` receives the run's CPU seconds per picture.
double ImportRun(const fs::path& work, const fs::path& folder, int pictures, int jobs,
                 const std::string& options, double* cpu) {
  const fs::path db = work / "bench.noxdb";
  fs::remove(db);
  const std::string command = std::string(NOXDB_PATH) + " --db '" + db.string() + "' import --jobs " +
                              std::to_string(jobs) + " " + options + " '" + folder.string() +
                              "' >/dev/null 2>'" + (work / "errors.txt").string() + "'";
  const double cpuBefore = ChildCpuSeconds();
  const auto start = std::chrono::steady_clock::now();
  const int status = std::system(command.c_str());
  const double seconds = nox::bench::SecondsSince(start);
  *cpu = (ChildCpuSeconds() - cpuBefore) / pictures;
  fs::remove(db);
  return status == 0 ? pictures / seconds : -1;
}

}  // namespace

int main(int argc, char** argv) {
  const int pictures = argc > 1 ? std::atoi(argv[1]) : 200;
  Magick::InitializeMagick(argv[0]);
  const fs::path work = fs::temp_directory_path() / ("nox-import-bench-" + std::to_string(getpid()));
  const fs::path folder = work / "pictures";
  fs::create_directories(folder);

  std::vector<fs::path> made;
  for (int i = 0; i < kDistinct; ++i) {
    // Each picture shifted, so that no two are alike.
    std::vector<uint8_t> rgba = nox::texture::bench::photoPicture(kWidth + 16 * i, kHeight);
    Magick::Image image(kWidth + 16 * i, kHeight, "RGBA", Magick::CharPixel, rgba.data());
    image.crop(Magick::Geometry(kWidth, kHeight, 16 * i, 0));
    image.matte(false);
    image.quality(90);
    const fs::path path = folder / ("photo" + std::to_string(i) + (i % 2 == 0 ? ".jpg" : ".png"));
    image.write(path.string());
    made.push_back(path);
  }
  uint64_t bytes = 0;
  for (int i = kDistinct; i < pictures; ++i) {
    const fs::path& source = made[i % kDistinct];
    fs::copy_file(source, folder / ("photo" + std::to_string(i) + source.extension().string()));
  }
  for (const auto& entry : fs::directory_iterator(folder)) bytes += entry.file_size();
  std::printf("%d pictures of %dx%d (JPEG and PNG), %.1f MB, on %ld cores\n", pictures, kWidth, kHeight,
              bytes / 1e6, sysconf(_SC_NPROCESSORS_ONLN));

  struct Mode {
    const char* name;
    const char* options;
  };
  const Mode modes[] = {{"as they come", ""}, {"--dxt5 --mipmaps", "--dxt5 --mipmaps"}};
  for (const Mode& mode : modes) {
    const double load = LoadAverage();
    double cpuOne = 0, cpuTwo = 0;
    const double one = ImportRun(work, folder, pictures, 1, mode.options, &cpuOne);
    const double two = ImportRun(work, folder, pictures, 2, mode.options, &cpuTwo);
    if (one < 0 || two < 0) {
      std::printf("%-18s failed; see %s\n", mode.name, (work / "errors.txt").c_str());
      return 1;
    }
    std::printf("%-18s --jobs 1: %6.2f pictures/s (%.0f ms CPU each)   --jobs 2: %6.2f pictures/s (%.0f ms CPU each)"
                "   ratio %.2f   (load average %.1f)\n",
                mode.name, one, cpuOne * 1e3, two, cpuTwo * 1e3, two / one, load);
  }
  std::printf("peak memory of the bench itself: %.0f MiB\n", nox::bench::PeakMiB());
  fs::remove_all(work);
  return 0;
}
