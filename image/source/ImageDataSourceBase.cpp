#include "image/source/ImageDataSourceBase.h"

#include <cstdint>

namespace nox::image {
namespace {

// FNV-1a over the four bytes of x, lowest first, in 64 bits; the low 32 bits are kept.
uint32_t hashWord(uint32_t x) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (int i = 0; i < 4; ++i) {
    h ^= (x >> (8 * i)) & 0xFFu;
    h *= 0x100000001b3ull;
  }
  return static_cast<uint32_t>(h);
}

uint32_t combine(uint32_t seed, uint32_t v) { return seed ^ (v + 0x9E3779B9u + (seed << 6) + (seed >> 2)); }

uint32_t foldPointer(const void* p) {
  const auto bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p));
  return static_cast<uint32_t>(bits) ^ static_cast<uint32_t>(bits >> 32);
}

}  // namespace

uint32_t ImageDataSourceBase::computeHash() const {
  const uint32_t values[] = {
      width(), height(), auxExtent(), tag(), format(), foldPointer(data()), dataSize(),
      static_cast<uint32_t>(primaryChildCount()), static_cast<uint32_t>(secondaryChildCount()),
  };
  uint32_t seed = 0;
  for (uint32_t v : values) seed = combine(seed, hashWord(v));
  const int64_t secondaries = secondaryChildCount();
  for (int64_t i = 0; i < secondaries; ++i) {
    // A null child (the list accepts one) counts as hash 0 rather than being dereferenced.
    const IImageDataSource* child = secondaryChild(static_cast<int>(i));
    seed = combine(seed, hashWord(child != nullptr ? child->getHash() : 0));
  }
  return seed;
}

}  // namespace nox::image
