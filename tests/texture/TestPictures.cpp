#include "TestPictures.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

#include "texture/BlockDecoder.h"

namespace nox::texture::test {

std::vector<uint8_t> photoPicture(int width, int height, uint32_t seed, bool withAlpha) {
  std::mt19937 random(seed);
  std::normal_distribution<float> grain(0.0f, 4.0f);
  std::vector<uint8_t> rgba;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) / static_cast<float>(width);
      const float v = static_cast<float>(y) / static_cast<float>(height);
      // Sky shading above a wavy horizon, textured ground below it, and a flat disc.
      const float texture = 0.5f + 0.5f * std::sin(40.0f * u + 7.0f * std::sin(23.0f * v));
      const bool ground = v > 0.55f + 0.1f * std::sin(6.0f * u);
      const bool sun = (u - 0.3f) * (u - 0.3f) + (v - 0.3f) * (v - 0.3f) < 0.01f;
      const float base[3] = {ground ? 90.0f + 50.0f * texture : 110.0f + 90.0f * v,
                             ground ? 70.0f + 40.0f * texture : 150.0f + 60.0f * v,
                             ground ? 40.0f + 20.0f * texture : 230.0f - 40.0f * v};
      for (const float b : base) {
        rgba.push_back(static_cast<uint8_t>(std::clamp(sun ? 250.0f : b + grain(random), 0.0f, 255.0f)));
      }
      rgba.push_back(withAlpha ? (sun ? 0 : static_cast<uint8_t>(255.0f * u)) : 255);
    }
  }
  return rgba;
}

std::vector<uint8_t> decodeLevel(const uint8_t* blocks, int type, int width, int height) {
  const int blockBytes = (type == 1 || type == 5) ? 8 : 16;
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
  uint8_t pixels[64] = {};
  for (int by = 0; by < height; by += 4) {
    for (int bx = 0; bx < width; bx += 4) {
      decodeBlock(blocks, type, pixels);
      blocks += blockBytes;
      for (int y = by; y < std::min(by + 4, height); ++y) {
        for (int x = bx; x < std::min(bx + 4, width); ++x) {
          std::copy_n(pixels + ((y - by) * 4 + (x - bx)) * 4, 4,
                      rgba.data() + (static_cast<size_t>(y) * width + x) * 4);
        }
      }
    }
  }
  return rgba;
}

double rmse(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int channelMask) {
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    if ((channelMask >> (i % 4) & 1) == 0) continue;
    const double d = static_cast<double>(a[i]) - b[i];
    sum += d * d;
    ++count;
  }
  return count == 0 ? 0.0 : std::sqrt(sum / static_cast<double>(count));
}

int maxDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  int worst = 0;
  for (size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
  return worst;
}

}  // namespace nox::texture::test
