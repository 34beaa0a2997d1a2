// Speed and ratio of the NBN LZ codec on level-like inputs, side by side with LZ4 and zstd
// level 1 measured in the same run, and the speed of the fast DXT encoders against
// libsquish's fastest mode (range fit).
//
// Inputs: a photo-like 1024x1024 RGBA level, its DXT5 blocks as the fast encoder makes
// them, and text (the licence texts of the system, else generated prose).

#include <lz4.h>
#include <squish.h>
#include <zstd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/BenchSupport.h"
#include "image/io/nbn/FastDxt.h"
#include "image/io/nbn/LzCodec.h"

namespace {

using namespace nox::image::io;
using Bytes = std::vector<uint8_t>;

constexpr int kSide = 1024;

Bytes photoLevel() {
  Bytes out(size_t(kSide) * kSide * 4);
  uint32_t x = 12345;
  const auto noise = [&x] {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    return int(x % 7);
  };
  for (int row = 0; row < kSide; ++row)
    for (int col = 0; col < kSide; ++col) {
      const double u = double(col) / kSide;
      const double v = double(row) / kSide;
      uint8_t* px = &out[(size_t(row) * kSide + col) * 4];
      px[0] = uint8_t(120 + 90 * std::sin(9 * u + 3 * v) * std::cos(5 * v) + noise());
      px[1] = uint8_t(110 + 80 * std::cos(7 * v - 4 * u) + noise());
      px[2] = uint8_t(70 + 150 * u * v + noise());
      px[3] = uint8_t(v < 0.8 ? 255 : 255 - 600 * (v - 0.8));
    }
  return out;
}

Bytes textInput() {
  Bytes out;
  const std::filesystem::path licences = "/usr/share/common-licenses";
  std::error_code ec;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(licences, ec))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    out.insert(out.end(), std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  if (out.size() < 100000) {
    static const char* const kWords[] = {"the ", "picture ", "is ", "stored ", "with ", "levels ",
                                         "and ", "a ", "palette, ", "which ", "reads ", "back.\n"};
    uint32_t x = 99;
    while (out.size() < 250000) {
      x = x * 1103515245 + 12345;
      const char* w = kWords[(x >> 16) % 12];
      out.insert(out.end(), w, w + std::strlen(w));
    }
  }
  return out;
}

struct Codec {
  const char* name;
  std::function<size_t(const Bytes&, Bytes&)> pack;
  std::function<size_t(const Bytes&, size_t, Bytes&)> unpack;
};

void runCodecs(const char* inputName, const Bytes& input, const std::vector<Codec>& codecs) {
  const double mb = input.size() / 1e6;
  for (const Codec& codec : codecs) {
    Bytes packed;
    size_t packedSize = 0;
    const double packSeconds = nox::bench::TimeBest(5, [&] { packedSize = codec.pack(input, packed); });
    Bytes unpacked(input.size());
    size_t unpackedSize = 0;
    const double unpackSeconds =
        nox::bench::TimeBest(9, [&] { unpackedSize = codec.unpack(packed, packedSize, unpacked); });
    const bool exact = unpackedSize == input.size() && unpacked == input;
    std::printf("%-12s %-8s %9.1f %9.1f %8.3f  %s\n", inputName, codec.name, mb / packSeconds,
                mb / unpackSeconds, double(packedSize) / input.size(), exact ? "" : "MISMATCH");
  }
}

}  // namespace

int main() {
  auto work = std::make_unique<LzWorkMemory>();
  const std::vector<Codec> codecs = {
      {"nbn-lz",
       [&](const Bytes& in, Bytes& out) {
         out.resize(lz_pack_bound(in.size()));
         return lz_pack(in.data(), out.data(), in.size(), *work);
       },
       [](const Bytes& in, size_t n, Bytes& out) { return lz_unpack(in.data(), n, out.data(), out.size()); }},
      {"lz4",
       [](const Bytes& in, Bytes& out) {
         out.resize(size_t(LZ4_compressBound(int(in.size()))));
         return size_t(LZ4_compress_default(reinterpret_cast<const char*>(in.data()),
                                            reinterpret_cast<char*>(out.data()), int(in.size()),
                                            int(out.size())));
       },
       [](const Bytes& in, size_t n, Bytes& out) {
         return size_t(std::max(0, LZ4_decompress_safe(reinterpret_cast<const char*>(in.data()),
                                                       reinterpret_cast<char*>(out.data()), int(n),
                                                       int(out.size()))));
       }},
      {"zstd-1",
       [](const Bytes& in, Bytes& out) {
         out.resize(ZSTD_compressBound(in.size()));
         return ZSTD_compress(out.data(), out.size(), in.data(), in.size(), 1);
       },
       [](const Bytes& in, size_t n, Bytes& out) {
         return ZSTD_decompress(out.data(), out.size(), in.data(), n);
       }},
  };

  const Bytes photo = photoLevel();
  Bytes dxt(photo.size() / 4);
  encode_dxt5(photo.data(), dxt.data(), kSide, kSide);
  const Bytes text = textInput();

  std::printf("LZ codecs, best of several runs (MB/s of the unpacked size; ratio = packed/input)\n");
  std::printf("%-12s %-8s %9s %9s %8s\n", "input", "codec", "pack", "unpack", "ratio");
  runCodecs("rgba-photo", photo, codecs);
  runCodecs("dxt5-level", dxt, codecs);
  runCodecs("text", text, codecs);
  std::printf("(photo %zu bytes, DXT5 level %zu bytes, text %zu bytes)\n\n", photo.size(), dxt.size(),
              text.size());

  const double megapixels = double(kSide) * kSide / 1e6;
  Bytes blocks(photo.size());
  struct Encoder {
    const char* name;
    std::function<void()> run;
  };
  const std::vector<Encoder> encoders = {
      {"squish dxt1 range fit (reference)",
       [&] { squish::CompressImage(photo.data(), kSide, kSide, blocks.data(), squish::kDxt1 | squish::kColourRangeFit); }},
      {"encode_dxt1", [&] { encode_dxt1(photo.data(), blocks.data(), kSide, kSide); }},
      {"encode_dxt1_flipped", [&] { encode_dxt1_flipped(photo.data(), blocks.data(), kSide, kSide); }},
      {"squish dxt5 range fit (reference)",
       [&] { squish::CompressImage(photo.data(), kSide, kSide, blocks.data(), squish::kDxt5 | squish::kColourRangeFit); }},
      {"encode_dxt5", [&] { encode_dxt5(photo.data(), blocks.data(), kSide, kSide); }},
      {"encode_dxt5_flipped", [&] { encode_dxt5_flipped(photo.data(), blocks.data(), kSide, kSide); }},
  };
  std::printf("DXT encoders on the %dx%d photo, best of 3 runs\n", kSide, kSide);
  double reference = 0;
  for (const Encoder& e : encoders) {
    const double mps = megapixels / nox::bench::TimeBest(3, e.run);
    if (std::strstr(e.name, "reference")) reference = mps;
    std::printf("%-36s %8.1f Mpx/s  %5.2fx\n", e.name, mps, mps / reference);
  }
  return 0;
}
