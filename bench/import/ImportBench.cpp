// Imports a 24-megapixel photo-like picture (made here, as JPEG and as PNG) into a fresh
// database, uncompressed and as DXT5 with a full mip chain, and times beside it, in the same
// run, GraphicsMagick alone decoding the file and scaling it to 360 high. Each measurement
// runs in a child process, so that its peak memory is its own. Prints seconds, the ratio of
// the import to the reference, peak memory against the picture's RGBA size, and where the
// time of an import goes. Usage: bench_import [FOLDER] (default: the current folder).

#include <Magick++.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/support/BenchSupport.h"
#include "import/ImageImporter.h"
#include "import/MagickInit.h"
#include "texture/MipChain.h"

namespace {

using nox::bench::SecondsSince;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;

void MakePicture(const std::string& jpeg, const std::string& png) {
  std::vector<unsigned char> rgb(static_cast<size_t>(kWidth) * kHeight * 3);
  uint32_t noise = 1;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      noise = noise * 1664525u + 1013904223u;
      unsigned char* p = &rgb[(static_cast<size_t>(y) * kWidth + x) * 3];
      const double wave = std::sin(x * 0.004) * std::cos(y * 0.006) + 0.3 * std::sin((x + y) * 0.05);
      p[0] = static_cast<unsigned char>(std::clamp(128 + 90 * wave + (noise >> 28), 0.0, 255.0));
      p[1] = static_cast<unsigned char>(std::clamp(100 + 60 * std::cos(x * 0.002) + (noise >> 27 & 15), 0.0, 255.0));
      p[2] = static_cast<unsigned char>(std::clamp(140 - 80 * wave + (noise >> 26 & 7), 0.0, 255.0));
    }
  }
  Magick::Image picture(kWidth, kHeight, "RGB", Magick::CharPixel, rgb.data());
  picture.quality(90);
  picture.write(jpeg);
  picture.quality(75);  // zlib level 7, the usual for PNG files
  picture.write(png);
}

struct Reading {
  double seconds = 0;
  double peakMiB = 0;
  bool ok = false;
};

// Runs `work` in a child process; its wall time and peak resident size.
Reading InChild(const std::function<bool()>& work) {
  std::fflush(stdout);
  const auto start = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    // The library's debug lines would drown the figures.
    std::freopen("/dev/null", "w", stdout);
    _exit(work() ? 0 : 1);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  return {SecondsSince(start), usage.ru_maxrss / 1024.0, WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

bool Import(const std::string& file, const std::string& database, uint32_t settings) {
  std::filesystem::remove(database);
  CNoxDbI session(database.c_str());
  CImageImporter importer(session, settings, 0);
  CUUID id;
  return importer.Import(file.c_str(), false, nullptr, CUUID(), &id);
}

bool ReferenceDecodeAndScale(const std::string& file) {
  Magick::Image image(file);
  image.scale(Magick::Geometry(image.columns() * 360 / image.rows(), 360));
  return image.rows() == 360;
}

// The importer's steps one by one, for the split of an import's time.
class Stages : public CImageImporter {
 public:
  using CImageImporter::CImageImporter;

  void Run(const std::string& file, const std::string& database, uint32_t mode) {
    auto mark = Clock::now();
    const auto lap = [&](const char* what) {
      std::fprintf(stderr, "    %-10s %6.2f s\n", what, SecondsSince(mark));
      mark = Clock::now();
    };
    picture.kind = ImportableByMagick;
    loadFile(file.c_str());
    lap("decode");
    Magick::Image icon;
    makeIcon(picture.magickImage, Magick::Geometry(64, 64), icon);
    Magick::Geometry large(540, 360);
    makeIconLarge(picture.magickImage, large, icon);
    lap("icons");
    CNOFChecksum checksum;
    if (FILE* in = std::fopen(file.c_str(), "rb")) {
      checksum.calcChecksum(in);
      std::fclose(in);
    }
    lap("checksum");
    SetCompressed(mode);
    prepareImage();
    lap("layout");
    if (mode != 0) {
      const int w = static_cast<int>(picture.magickImage.columns());
      const int h = static_cast<int>(picture.magickImage.rows());
      const int count = nox::texture::mipLevelCount(w, h);
      std::vector<unsigned char> chain(nox::texture::mipChainSize(w, h, 4, 0, count, 0));
      nox::texture::generateMipmaps(chain.data(), pixelBuffer, w, h, 4, 0, count, 0, 0, 2.2f);
      lap("chain");
      const tagSIZE size{w, h};
      compressImage(reinterpret_cast<char*>(pixelBuffer), bufferSize, size);
      lap("encode");  // the encoder builds its chain again: chain + encode above
    }
    std::filesystem::remove(database);
    CNoxDbI session(database.c_str());
    CImageImporter writer(session, mode | (mode ? uint32_t{MipmapsBit} : 0u), 0);
    CUUID id;
    const auto whole = Clock::now();
    writer.Import(file.c_str(), false, &checksum, CUUID(), &id);
    std::fprintf(stderr, "    %-10s %6.2f s (a whole import with the checksum given)\n", "import", SecondsSince(whole));
  }
};

}  // namespace

int main(int argc, char** argv) {
  nox::import::EnsureMagickInitialized();
  const std::filesystem::path dir = std::filesystem::path(argc > 1 ? argv[1] : ".") / "bench-import-tmp";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  const std::string jpeg = (dir / "photo.jpg").string();
  const std::string png = (dir / "photo.png").string();
  const std::string database = (dir / "bench.noxdb").string();
  MakePicture(jpeg, png);
  const double rgbaMiB = kWidth * double{kHeight} * 4 / (1024 * 1024);
  std::printf("24-megapixel picture (%dx%d), RGBA %.0f MiB; memory goal %.0f MiB\n", kWidth, kHeight,
              rgbaMiB, 3 * rgbaMiB + 64);

  double plainSeconds = 0;
  for (const std::string& file : {jpeg, png}) {
    const char* kind = file == jpeg ? "JPEG" : "PNG";
    const Reading reference = InChild([&] { return ReferenceDecodeAndScale(file); });
    const Reading plain = InChild([&] { return Import(file, database, 0); });
    std::printf("%-4s GraphicsMagick decode + scale to 360 high  %6.2f s  peak %5.0f MiB\n", kind,
                reference.seconds, reference.peakMiB);
    std::printf("%-4s import, uncompressed                       %6.2f s  peak %5.0f MiB%s\n", kind,
                plain.seconds, plain.peakMiB, plain.ok ? "" : "  FAILED");
    std::printf("%-4s ratio import / reference: %.2f (goal <= 1.5)\n", kind, plain.seconds / reference.seconds);
    if (file == jpeg) plainSeconds = plain.seconds;
  }

  const Reading dxt5 = InChild([&] {
    return Import(jpeg, database, CImageImporter::CompressionDXT5 | CImageImporter::MipmapsBit);
  });
  std::printf("JPEG import, DXT5 with a full chain          %6.2f s  peak %5.0f MiB%s\n", dxt5.seconds,
              dxt5.peakMiB, dxt5.ok ? "" : "  FAILED");
  std::printf("JPEG ratio DXT5 / uncompressed import: %.2f\n", dxt5.seconds / plainSeconds);

  for (uint32_t mode : {0u, uint32_t{CImageImporter::CompressionDXT5}}) {
    std::fprintf(stderr, "where the time goes, JPEG, %s:\n", mode ? "DXT5 with a full chain" : "uncompressed");
    InChild([&] {
      Stages(0, 0).Run(jpeg, database, mode);
      return true;
    });
  }
  std::filesystem::remove_all(dir);
  return 0;
}
