// Speed and quality of the DXT1 encoders on one core: the own encoder at each quality (through
// CDDS::compress, top level only), libsquish's range and cluster fit, and stb_dxt as the
// reference; and of the default DXT5 encoders. Prints megapixels per second and PSNR (RGB,
// decoded by libsquish) per picture, and the speed of the own default paths relative to
// stb_dxt.
//
// Usage: bench_texture [side]   (default 1024; the pictures are side by side pixels)

#include <sched.h>
#include <squish.h>
#include <stb_dxt.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "BenchPictures.h"
#include "texture/DDS.h"
#include "texture/MipChain.h"

namespace {

using Encode = std::function<void(std::vector<uint8_t>& blocks)>;

struct Picture {
  const char* name;
  std::vector<uint8_t> rgba;
};

struct Encoder {
  std::string name;
  int type;  // 1 DXT1, 3 DXT5
  // Builds the encoder for one picture of side by side pixels.
  std::function<Encode(const std::vector<uint8_t>& rgba, int side)> make;
};

Encode ownEncoder(const std::vector<uint8_t>& rgba, int side, int quality, bool dither,
                  int type = 1) {
  return [&rgba, side, quality, dither, type](std::vector<uint8_t>& blocks) {
    CDDS dds;
    dds.quality = quality;
    dds.dither = dither;
    const int bytes = nox::texture::mipChainSize(side, side, 4, 0, 1, type);
    void* buffer = std::malloc(static_cast<size_t>(bytes));
    if (dds.compress(buffer, rgba.data(), type, side, side, 4, 1) != 1) {
      std::free(buffer);
      std::fprintf(stderr, "compress refused %dx%d\n", side, side);
      std::exit(1);
    }
    std::memcpy(blocks.data(), dds.levels[0].data, dds.levels[0].size);
  };
}

Encode stbEncoder(const std::vector<uint8_t>& rgba, int side, int mode, int type = 1) {
  return [&rgba, side, mode, type](std::vector<uint8_t>& blocks) {
    unsigned char block[64];
    unsigned char* out = blocks.data();
    for (int y = 0; y < side; y += 4) {
      for (int x = 0; x < side; x += 4) {
        for (int row = 0; row < 4; ++row) {
          std::memcpy(block + row * 16, rgba.data() + (static_cast<size_t>(y + row) * side + x) * 4,
                      16);
        }
        stb_compress_dxt_block(out, block, type == 3 ? 1 : 0, mode);
        out += type == 3 ? 16 : 8;
      }
    }
  };
}

double psnr(const std::vector<uint8_t>& source, const std::vector<uint8_t>& blocks, int side,
            int type) {
  std::vector<uint8_t> decoded(source.size());
  squish::DecompressImage(decoded.data(), side, side, blocks.data(),
                          type == 3 ? squish::kDxt5 : squish::kDxt1);
  double sum = 0.0;
  for (size_t i = 0; i < source.size(); ++i) {
    if (i % 4 == 3) continue;
    const double d = static_cast<double>(source[i]) - decoded[i];
    sum += d * d;
  }
  const double mse = sum / (static_cast<double>(source.size()) * 3.0 / 4.0);
  return mse == 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

// CPU time of this thread: other work on a shared machine does not count against a run.
double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Best time of repeated runs: at least three and until about two seconds have passed, or a
// single run for an encoder that takes longer than that.
double bestSeconds(const Encode& encode, std::vector<uint8_t>& blocks) {
  double best = 1e30;
  double total = 0.0;
  for (int run = 0; run < 30; ++run) {
    const double start = threadSeconds();
    encode(blocks);
    const double seconds = threadSeconds() - start;
    best = std::min(best, seconds);
    total += seconds;
    if (total > 2.0 && (run >= 2 || seconds > 2.0)) break;
  }
  return best;
}

// libsquish parallelises with OpenMP; the comparison is for one core, so the process runs
// again with one OpenMP thread and stays on the CPU it started on.
void stayOnOneCore(char** argv) {
  const char* threads = std::getenv("OMP_NUM_THREADS");
  if (threads == nullptr || std::strcmp(threads, "1") != 0) {
    setenv("OMP_NUM_THREADS", "1", 1);
    execv("/proc/self/exe", argv);
    std::perror("execv");
  }
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  sched_setaffinity(0, sizeof(one), &one);
}

}  // namespace

int main(int argc, char** argv) {
  stayOnOneCore(argv);
  const int side = argc > 1 ? std::atoi(argv[1]) : 1024;
  if (side < 4 || side % 4 != 0) {
    std::fprintf(stderr, "side must be a positive multiple of 4\n");
    return 1;
  }
  const std::vector<Picture> pictures = {
      {"photo", nox::texture::bench::photoPicture(side, side)},
      {"gradient", nox::texture::bench::gradientPicture(side, side)}};

  const std::vector<Encoder> encoders = {
      {"own q0 principal axis (default)", 1,
       [](const auto& rgba, int s) { return ownEncoder(rgba, s, 0, false); }},
      {"own q1 pair", 1, [](const auto& rgba, int s) { return ownEncoder(rgba, s, 1, false); }},
      {"own q2 luma", 1, [](const auto& rgba, int s) { return ownEncoder(rgba, s, 2, false); }},
      {"own q3 box", 1, [](const auto& rgba, int s) { return ownEncoder(rgba, s, 3, false); }},
      {"own q4 principal axis", 1,
       [](const auto& rgba, int s) { return ownEncoder(rgba, s, 4, false); }},
      {"own q0 dithered", 1, [](const auto& rgba, int s) { return ownEncoder(rgba, s, 0, true); }},
      {"libsquish range fit (q5)", 1,
       [](const auto& rgba, int s) { return ownEncoder(rgba, s, 5, false); }},
      {"libsquish cluster fit (q6)", 1,
       [](const auto& rgba, int s) { return ownEncoder(rgba, s, 6, false); }},
      {"stb_dxt normal", 1,
       [](const auto& rgba, int s) { return stbEncoder(rgba, s, STB_DXT_NORMAL); }},
      {"stb_dxt highqual", 1,
       [](const auto& rgba, int s) { return stbEncoder(rgba, s, STB_DXT_HIGHQUAL); }},
      {"DXT5 own q0 (default)", 3,
       [](const auto& rgba, int s) { return ownEncoder(rgba, s, 0, false, 3); }},
      {"DXT5 stb_dxt normal", 3,
       [](const auto& rgba, int s) { return stbEncoder(rgba, s, STB_DXT_NORMAL, 3); }},
  };

  const double megapixels = static_cast<double>(side) * side / 1e6;
  std::printf("DXT1 unless named, %dx%d pixels, one core\n\n", side, side);
  std::printf("%-10s %-34s %10s %10s\n", "picture", "encoder", "MP/s", "PSNR dB");
  std::vector<std::string> ratios;
  for (const Picture& picture : pictures) {
    // Rates of the own default path and of stb_dxt normal, for DXT1 and DXT5.
    double own[4] = {};
    double stb[4] = {};
    for (const Encoder& encoder : encoders) {
      const size_t blockBytes = encoder.type == 3 ? 16 : 8;
      std::vector<uint8_t> blocks(static_cast<size_t>(side / 4) * (side / 4) * blockBytes);
      const Encode encode = encoder.make(picture.rgba, side);
      const double rate = megapixels / bestSeconds(encode, blocks);
      std::printf("%-10s %-34s %10.1f %10.2f\n", picture.name, encoder.name.c_str(), rate,
                  psnr(picture.rgba, blocks, side, encoder.type));
      std::fflush(stdout);
      if (encoder.name.find("(default)") != std::string::npos) own[encoder.type] = rate;
      if (encoder.name.find("stb_dxt normal") != std::string::npos) stb[encoder.type] = rate;
    }
    for (const int type : {1, 3}) {
      char line[128];
      std::snprintf(line, sizeof(line), "%-10s DXT%d own default / stb_dxt normal: %.2f",
                    picture.name, type == 1 ? 1 : 5, own[type] / stb[type]);
      ratios.push_back(line);
    }
  }
  std::printf("\n");
  for (const std::string& line : ratios) std::printf("%s\n", line.c_str());
  return 0;
}
