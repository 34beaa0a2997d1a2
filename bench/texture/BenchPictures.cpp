#include "BenchPictures.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace nox::texture::bench {
namespace {

// Smooth value noise on a lattice of random values, summed over octaves (1/f falloff).
class FractalNoise {
 public:
  explicit FractalNoise(uint32_t seed) : lattice_(kSize * kSize) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (float& v : lattice_) v = unit(random);
  }

  float operator()(float x, float y, int octaves) const {
    float sum = 0.0f;
    float amplitude = 0.5f;
    for (int i = 0; i < octaves; ++i) {
      sum += amplitude * smooth(x, y);
      x = x * 2.03f + 17.0f;
      y = y * 1.97f + 31.0f;
      amplitude *= 0.5f;
    }
    return sum;
  }

 private:
  static constexpr int kSize = 256;

  float at(int x, int y) const { return lattice_[(y & (kSize - 1)) * kSize + (x & (kSize - 1))]; }

  float smooth(float x, float y) const {
    const int x0 = static_cast<int>(std::floor(x));
    const int y0 = static_cast<int>(std::floor(y));
    float fx = x - static_cast<float>(x0);
    float fy = y - static_cast<float>(y0);
    fx = fx * fx * (3.0f - 2.0f * fx);
    fy = fy * fy * (3.0f - 2.0f * fy);
    const float top = at(x0, y0) + (at(x0 + 1, y0) - at(x0, y0)) * fx;
    const float bottom = at(x0, y0 + 1) + (at(x0 + 1, y0 + 1) - at(x0, y0 + 1)) * fx;
    return top + (bottom - top) * fy;
  }

  std::vector<float> lattice_;
};

uint8_t toByte(float v) { return static_cast<uint8_t>(std::clamp(v, 0.0f, 255.0f) + 0.5f); }

}  // namespace

std::vector<uint8_t> photoPicture(int width, int height) {
  const FractalNoise clouds(1);
  const FractalNoise terrain(2);
  const FractalNoise detail(3);
  std::mt19937 random(4);
  std::normal_distribution<float> grain(0.0f, 3.0f);
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
  const float scale = 1.0f / static_cast<float>(std::max(width, height));

  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) * scale;
      const float v = static_cast<float>(y) * scale;
      const float horizon = 0.52f + 0.08f * terrain(u * 3.0f, 0.5f, 4) - 0.04f;
      float r;
      float g;
      float b;
      if (v < horizon) {
        // Sky: blue towards the top, hazy near the horizon, with clouds.
        const float t = v / horizon;
        r = 70.0f + 120.0f * t;
        g = 120.0f + 90.0f * t;
        b = 220.0f + 20.0f * t;
        const float c = std::clamp((clouds(u * 6.0f, v * 12.0f, 6) - 0.45f) * 3.0f, 0.0f, 1.0f);
        r += (245.0f - r) * c;
        g += (245.0f - g) * c;
        b += (248.0f - b) * c;
      } else {
        // Ground: green and brown fields lit from the left, textured at several scales.
        const float depth = (v - horizon) / (1.0f - horizon);
        const float field = terrain(u * 8.0f, v * 16.0f, 3);
        const float texture = detail(u * 180.0f, v * 180.0f, 4);
        const float light = 0.6f + 0.5f * (1.0f - u) * depth + 0.3f * texture;
        r = (60.0f + 90.0f * field) * light;
        g = (80.0f + 70.0f * (1.0f - field)) * light;
        b = (30.0f + 30.0f * field) * light;
      }
      // Hard-edged objects: dark trunks and a red roof.
      const float stripe = std::fmod(u * 9.0f, 1.0f);
      if (v > horizon - 0.05f && v < horizon + 0.15f && stripe > 0.45f && stripe < 0.5f) {
        r = 45.0f;
        g = 35.0f;
        b = 25.0f;
      }
      if (u > 0.6f && u < 0.8f && v > horizon - 0.12f && v < horizon - 0.02f &&
          v - (horizon - 0.12f) > std::fabs(u - 0.7f) * 0.9f) {
        r = 180.0f + 20.0f * detail(u * 300.0f, v * 300.0f, 2);
        g = 50.0f;
        b = 40.0f;
      }
      // An out-of-focus sun.
      const float du = u - 0.25f;
      const float dv = v - 0.18f;
      const float glow = std::exp(-(du * du + dv * dv) * 400.0f);
      r += 200.0f * glow;
      g += 180.0f * glow;
      b += 120.0f * glow;
      // Vignette and grain.
      const float cu = u - 0.5f;
      const float cv = v - 0.5f;
      const float vignette = 1.0f - 0.6f * (cu * cu + cv * cv);
      uint8_t* p = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
      p[0] = toByte(r * vignette + grain(random));
      p[1] = toByte(g * vignette + grain(random));
      p[2] = toByte(b * vignette + grain(random));
      p[3] = 255;
    }
  }
  return rgba;
}

std::vector<uint8_t> gradientPicture(int width, int height) {
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
      const float u = static_cast<float>(x) / static_cast<float>(width - 1);
      const float v = static_cast<float>(y) / static_cast<float>(height - 1);
      p[0] = toByte(255.0f * u);
      p[1] = toByte(255.0f * v);
      p[2] = toByte(255.0f * (1.0f - u) * (0.5f + 0.5f * std::sin(6.2831853f * v)));
      p[3] = 255;
    }
  }
  return rgba;
}

}  // namespace nox::texture::bench
