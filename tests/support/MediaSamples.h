#pragma once
// Inputs shared by the NBN tests: byte streams of different character for the LZ codec and
// pictures for the container and the DXT encoders.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/MediaFiles.h"

namespace nox::test::nbn {

using Bytes = std::vector<uint8_t>;

enum class Kind { Text, Image, Random, Runs, Mixed };
// `length` bytes of the given character, the same for the same arguments.
Bytes sampleBytes(Kind kind, size_t length, uint32_t seed = 1);

// Four channels per pixel; each 4x4 block holds two colours exact in 5:6:5 and one alpha of
// 128 or more (libsquish makes lower alpha transparent in DXT1), so that DXT1 and DXT5
// carry it without loss.
Bytes blockExactRgba(int width, int height, uint32_t seed);
// Four channels per pixel of smooth gradients with a little noise: a photo-like picture.
Bytes photoRgba(int width, int height, uint32_t seed);

// Bytes written as hexadecimal digits; spaces between them are for reading.
Bytes fromHex(const std::string& digits);

// `input` as one LZ block, packed into a destination of exactly lz_pack_bound bytes, so that a
// write past it shows.
Bytes lzPacked(const Bytes& input);

using io::toBytes;
using io::toString;

}  // namespace nox::test::nbn
