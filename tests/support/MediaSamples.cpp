#include "tests/support/MediaSamples.h"

#include "image/io/nbn/LzCodec.h"

#include <cmath>

namespace nox::test::nbn {

namespace {

// xorshift32, so that the samples are the same everywhere.
uint32_t next(uint32_t& x) {
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  return x;
}

uint8_t expand(uint32_t v, int bits) {
  const uint32_t full = v << (8 - bits);
  return static_cast<uint8_t>(full | (full >> bits));
}

}  // namespace

Bytes fromHex(const std::string& digits) {
  Bytes out;
  for (size_t i = 0; i < digits.size(); i += digits[i] == ' ' ? 1 : 2)
    if (digits[i] != ' ') out.push_back(uint8_t(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

Bytes sampleBytes(Kind kind, size_t length, uint32_t seed) {
  static const char* const kWords[] = {"the ",    "image ",    "level ", "of ",      "packed ",
                                       "stream ", "control ",  "word ",  "matches ", "literal ",
                                       "\n",      "distance ", "1024 ",  "length ",  "NBN "};
  uint32_t rng{seed * 2654435761u + 7};
  Bytes out;
  while (out.size() < length) {
    switch (kind) {
      case Kind::Text: {
        const char* word = kWords[next(rng) % 15];
        out.insert(out.end(), word, word + std::char_traits<char>::length(word));
        break;
      }
      case Kind::Image:  // RGBA pixels: two gradients, a little noise, opaque
        out.insert(out.end(), {uint8_t(out.size() / 4 % 256), uint8_t(out.size() / 1024 * 3),
                               uint8_t(128 + next(rng) % 5), 255});
        break;
      case Kind::Random:
        out.push_back(uint8_t(next(rng)));
        break;
      case Kind::Runs:
        out.insert(out.end(), 1 + next(rng) % 300, uint8_t(next(rng) % 3));
        break;
      case Kind::Mixed: {
        const Kind part = static_cast<Kind>(next(rng) % 4);
        const Bytes piece = sampleBytes(part, 1 + next(rng) % 700, next(rng));
        out.insert(out.end(), piece.begin(), piece.end());
        break;
      }
    }
  }
  out.resize(length);
  return out;
}

Bytes blockExactRgba(int width, int height, uint32_t seed) {
  uint32_t rng{seed * 40503u + 11};
  Bytes out(size_t(width) * height * 4);
  for (int by = 0; by < height; by += 4)
    for (int bx = 0; bx < width; bx += 4) {
      uint8_t colour[2][4];
      for (auto& c : colour) {
        const uint32_t v = next(rng);
        c[0] = expand(v & 31, 5);
        c[1] = expand((v >> 5) & 63, 6);
        c[2] = expand((v >> 11) & 31, 5);
      }
      colour[0][3] = colour[1][3] = uint8_t(128 + next(rng) % 128);
      const uint32_t pattern = next(rng);
      for (int y = by; y < by + 4 && y < height; ++y)
        for (int x = bx; x < bx + 4 && x < width; ++x) {
          const int pick = (pattern >> ((y - by) * 4 + (x - bx))) & 1;
          std::copy(colour[pick], colour[pick] + 4, out.begin() + (size_t(y) * width + x) * 4);
        }
    }
  return out;
}

Bytes photoRgba(int width, int height, uint32_t seed) {
  uint32_t rng{seed * 69069u + 3};
  Bytes out(size_t(width) * height * 4);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      uint8_t* px = &out[(size_t(y) * width + x) * 4];
      const double u = double(x) / width;
      const double v = double(y) / height;
      px[0] = uint8_t(120 + 100 * std::sin(6 * u + 2 * v) + next(rng) % 6);
      px[1] = uint8_t(110 + 90 * std::cos(4 * v - 3 * u) + next(rng) % 6);
      px[2] = uint8_t(60 + 160 * u * v + next(rng) % 6);
      px[3] = uint8_t(255 - 64 * v);
    }
  return out;
}

Bytes lzPacked(const Bytes& input) {
  static image::io::LzWorkMemory work;
  Bytes block(image::io::lz_pack_bound(input.size()));
  block.resize(image::io::lz_pack(input.data(), block.data(), input.size(), work));
  return block;
}

}  // namespace nox::test::nbn
