#pragma once
// Pictures and measures shared by the texture tests.

#include <cstdint>
#include <vector>

namespace nox::texture::test {

// RGBA picture that behaves like a photograph: smooth shading, fine grain, hard edges.
// Alpha is 255 unless `withAlpha`, which gives a smooth alpha ramp with a cut-out disc.
std::vector<uint8_t> photoPicture(int width, int height, uint32_t seed, bool withAlpha = false);

// RGBA level decoded block by block with decodeBlock; `type` as the block decoder takes it.
std::vector<uint8_t> decodeLevel(const uint8_t* blocks, int type, int width, int height);

// Root mean square difference over the channels whose bit is set in `channelMask`
// (bit 0 red ... bit 3 alpha) of two RGBA pictures of equal size.
double rmse(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int channelMask);

// Largest absolute difference of any byte.
int maxDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

}  // namespace nox::texture::test
