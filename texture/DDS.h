#pragma once
// CDDS: owner of a picture's DXT compressed mip levels, and the encoder run that makes them.

#include <cstdint>
#include <vector>

#include "util/tagSIZE.h"

// One compressed level. `data` points into the one block buffer that holds every level.
struct COMPRESSED_IMAGE_DATA {
  uint32_t size;        // bytes of this level's blocks
  tagSIZE dimensions;   // width and height of this level in pixels
  unsigned char* data;  // this level's first block
};

class CDDS {
 public:
  CDDS() = default;
  // Releases the block buffer of the levels, if any.
  virtual ~CDDS();
  CDDS(const CDDS&) = delete;
  CDDS& operator=(const CDDS&) = delete;

  // Encodes `pixels` (width by height, `components` 8-bit components of grey, grey and alpha,
  // RGB or RGBA) with its mip chain of `levelCount` levels into `blocks`, which must hold
  // mipChainSize(width, height, 4, 0, levelCount, type) bytes and come from std::malloc.
  // `type`: 1 DXT1, 2 DXT3, 3 or 0 DXT5, 5 one channel (red), 6 two channels (green, red),
  // 9 YCoCg in the DXT5 layout. Type 0 records every level with size 0 and codes them all
  // at the start of `blocks`. The chain is built with `filter`, `gammaCorrect` and `gamma`;
  // `quality` and `dither` choose the colour encoder (below 5 or dithered: the own encoder;
  // 5: libsquish range fit; 6 and above: libsquish cluster fit).
  // The previous levels are released first, even if the call refuses. Returns 0, with
  // `levels` empty and `blocks` still the caller's, when width or height is not a positive
  // multiple of 4 or `components` is not 1 to 4; otherwise 1, `levels` holds one record per
  // level, largest first, and owns `blocks` (freed with std::free). A `levelCount` above
  // mipLevelCount(width, height) is taken as that count. Throws std::bad_alloc when the
  // working buffers cannot be had.
  int compress(void* blocks, const void* pixels, int type, int width, int height, int components,
               int levelCount);

 private:
  // Part of the class's documented layout; no operation reads them.
  void* reserved0_ = nullptr;
  void* reserved1_ = nullptr;
  int32_t reserved2_ = -1;

 public:
  int32_t quality = 0;       // colour encoder choice, see compress
  int32_t filter = 0;        // mip filter: 0 and 2 box, 1 nearest, 3 bilinear, 4 bicubic, 5 Lanczos
  int32_t gammaCorrect = 0;  // not 0: mip filters work in linear light
  float gamma = 2.2f;        // exponent of that linear light
  bool dither = false;       // error diffusion in the own colour encoder
  std::vector<COMPRESSED_IMAGE_DATA> levels;  // the compressed levels, largest first

 private:
  void releaseLevels();
};
