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
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) / static_cast<float>(width);
      const float v = static_cast<float>(y) / static_cast<float>(height);
      // Sky-like shading above a diagonal horizon, darker textured ground below it.
      const bool ground = v > 0.55f + 0.1f * std::sin(6.0f * u);
      float base[3];
      if (ground) {
        const float texture = 0.5f + 0.5f * std::sin(40.0f * u + 7.0f * std::sin(23.0f * v));
        base[0] = 90.0f + 50.0f * texture;
        base[1] = 70.0f + 40.0f * texture + 30.0f * v;
        base[2] = 40.0f + 20.0f * texture;
      } else {
        base[0] = 110.0f + 90.0f * v + 20.0f * std::sin(3.0f * u);
        base[1] = 150.0f + 60.0f * v;
        base[2] = 230.0f - 40.0f * v;
      }
      const float dx = u - 0.3f;
      const float dy = v - 0.3f;
      const bool sun = dx * dx + dy * dy < 0.01f;
      uint8_t* p = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
      for (int c = 0; c < 3; ++c) {
        const float value = sun ? 250.0f : base[c] + grain(random);
        p[c] = static_cast<uint8_t>(std::clamp(value, 0.0f, 255.0f));
      }
      p[3] = 255;
      if (withAlpha) p[3] = sun ? 0 : static_cast<uint8_t>(255.0f * u);
    }
  }
  return rgba;
}

std::vector<uint8_t> gradientPicture(int width, int height) {
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
      p[0] = static_cast<uint8_t>(255 * x / std::max(width - 1, 1));
      p[1] = static_cast<uint8_t>(255 * y / std::max(height - 1, 1));
      p[2] = static_cast<uint8_t>(255 - 255 * (x + y) / std::max(width + height - 2, 1));
      p[3] = 255;
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
