#include "image/edit/ResizePixels.h"

#include <Imath/half.h>
#include <stb_image_resize.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace nox::image {

void resizePixels(void* output, unsigned outputWidth, unsigned outputHeight, const void* input,
                  unsigned inputWidth, unsigned inputHeight, ImageFormat format) {
  const int channels = static_cast<int>(formatChannels(format));
  const int inW = static_cast<int>(inputWidth);
  const int inH = static_cast<int>(inputHeight);
  const int outW = static_cast<int>(outputWidth);
  const int outH = static_cast<int>(outputHeight);

  if (!(format & 2048)) {
    if (!(format & 256)) {
      stbir_resize_uint8(static_cast<const unsigned char*>(input), inW, inH, 0, static_cast<unsigned char*>(output),
                         outW, outH, 0, channels);
    } else {
      stbir_resize_uint16_generic(static_cast<const stbir_uint16*>(input), inW, inH, 0,
                                  static_cast<stbir_uint16*>(output), outW, outH, 0, channels,
                                  STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, STBIR_FILTER_DEFAULT,
                                  STBIR_COLORSPACE_LINEAR, nullptr);
    }
    return;
  }
  if (!(format & 256)) {
    stbir_resize_float(static_cast<const float*>(input), inW, inH, 0, static_cast<float*>(output), outW, outH, 0,
                       channels);
    return;
  }

  // The resampler has no half type: go through float copies. Their element counts are
  // signed 32-bit values; a count beyond that is refused as too long rather than wrapped.
  const int64_t inputCount = int64_t{inW} * channels * inH;
  const int64_t outputCount = int64_t{channels} * outW * outH;
  if (inputCount > INT32_MAX || outputCount > INT32_MAX) throw std::length_error("vector<T> too long");
  const auto* in = static_cast<const half*>(input);
  std::vector<float> source(in, in + inputCount);
  std::vector<float> target(static_cast<size_t>(outputCount));
  if (!stbir_resize_float(source.data(), inW, inH, 0, target.data(), outW, outH, 0, channels)) return;
  std::transform(target.begin(), target.end(), static_cast<half*>(output), [](float v) { return half(v); });
}

}  // namespace nox::image
