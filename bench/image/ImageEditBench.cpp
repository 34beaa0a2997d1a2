// Speed and memory of the typed edits on a 4096 x 4096 RGBA8 image, against a plain memcpy
// of the same pixels measured in the same run. The peak resident size (ru_maxrss) is read
// after each edit: transpose, rotate and flip work in place and must not raise it by a
// second pixel buffer (64 MiB); resize builds its new vector and does.

#include "bench/support/BenchSupport.h"
#include "image/image/Image.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

using namespace nox::image;

constexpr unsigned kSide = 4096;
constexpr size_t kBytes = size_t{kSide} * kSide * sizeof(PixelRGBA8);
constexpr double kMegapixels = double(kSide) * kSide / 1e6;

struct Result {
  const char* name;
  double seconds;
  double peak;
};

}  // namespace

int main() {
  // Grow a 1x1 image to full size, so that no second full-size buffer has existed before the
  // in-place edits are measured.
  const unsigned char seed[4] = {10, 20, 30, 40};
  auto image = makeImage<PixelRGBA8>(seed, 1, 1, FormatRGBA8);
  image->resize(kSide, kSide);
  auto* bytes = static_cast<unsigned char*>(image->data());
  for (size_t i = 0; i < kBytes; ++i) bytes[i] = static_cast<unsigned char>(i * 31 + (i >> 12));
  const double imagePeak = nox::bench::PeakMiB();

  std::vector<Result> results;
  const auto measure = [&](const char* name, int runs, const std::function<void()>& work) {
    const double seconds = nox::bench::TimeBest(runs, work);
    results.push_back({name, seconds, nox::bench::PeakMiB()});
  };
  measure("transpose", 3, [&] { image->transpose(); });
  measure("rotate 90", 3, [&] { image->rotate(edit::Clockwise90); });
  measure("rotate 180", 3, [&] { image->rotate(edit::Clockwise180); });
  measure("flip horizontal", 3, [&] { image->flip(edit::Horizontal); });
  measure("flip vertical", 3, [&] { image->flip(edit::Vertical); });
  measure("resize 4096^2", 1, [&] { image->resize(kSide, kSide); });

  // The reference comes last: its destination is itself a second buffer.
  std::vector<unsigned char> copy(kBytes);
  std::memcpy(copy.data(), image->data(), kBytes);  // touch every page once
  const double memcpySeconds = nox::bench::TimeBest(3, [&] { std::memcpy(copy.data(), image->data(), kBytes); });

  std::printf("image %ux%u RGBA8 (%.0f MiB), peak RSS after building it %.1f MiB\n", kSide, kSide,
              kBytes / 1048576.0, imagePeak);
  std::printf("%-16s %9.1f Mpx/s  (reference)\n", "memcpy", kMegapixels / memcpySeconds);
  for (const auto& r : results) {
    std::printf("%-16s %9.1f Mpx/s  %6.3fx memcpy  peak RSS %7.1f MiB (+%5.1f MiB)\n", r.name,
                kMegapixels / r.seconds, memcpySeconds / r.seconds, r.peak, r.peak - imagePeak);
  }
  return 0;
}
