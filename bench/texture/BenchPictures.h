#pragma once
// Pictures for the texture benchmark, made procedurally so that every run sees the same bytes.

#include <cstdint>
#include <vector>

namespace nox::texture::bench {

// RGBA picture with the statistics of a landscape photograph: a sky gradient with fractal
// clouds, a horizon, fractal-textured ground with shading, hard-edged objects, out-of-focus
// highlights, film grain and a vignette. Alpha is 255.
std::vector<uint8_t> photoPicture(int width, int height);

// RGBA picture of smooth ramps in every channel, alpha 255.
std::vector<uint8_t> gradientPicture(int width, int height);

}  // namespace nox::texture::bench
