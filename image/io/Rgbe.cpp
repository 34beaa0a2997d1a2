#include "image/io/Rgbe.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace nox::image::io {
namespace {

constexpr int kLineSize = 128;  // a header line of at most 127 characters
constexpr int kMinRun = 4;      // the shortest run worth a packet of its own
constexpr int kMaxRun = 127;
constexpr int kMaxLiteral = 128;
constexpr int kMinRleWidth = 8;
constexpr int kMaxRleWidth = 32767;
// Pixels converted per stdio call of the flat reader and writer.
constexpr int64_t kChunkPixels = 4096;

int readError() {
  std::perror("RGBE read error");
  return -1;
}

int writeError() {
  std::perror("RGBE write error");
  return -1;
}

void rgbeToFloat(const unsigned char rgbe[4], float* out) {
  if (rgbe[3] == 0) {
    out[0] = out[1] = out[2] = 0.0f;
    return;
  }
  const auto f = static_cast<float>(std::ldexp(1.0, rgbe[3] - 136));
  for (int i = 0; i < 3; ++i) out[i] = rgbe[i] * f;
}

// A mantissa byte, truncated. Products below 0 (negative channels, NaN) give 0, and one that
// rounds up to 256 stays 255, since converting either to a byte has no defined result.
unsigned char mantissa(float value) {
  if (!(value > 0.0f)) return 0;
  if (value >= 255.0f) return 255;
  return static_cast<unsigned char>(value);
}

void floatToRgbe(const float* in, unsigned char rgbe[4]) {
  const float v = std::max({in[0], in[1], in[2]});
  // Infinities have no exponent byte; they are stored as black, like values too small to hold.
  if (!(v >= 1e-32f) || std::isinf(v)) {
    std::memset(rgbe, 0, 4);
    return;
  }
  int exponent = 0;
  const double m = std::frexp(v, &exponent);
  const auto scale = static_cast<float>(m * 256.0 / v);
  for (int i = 0; i < 3; ++i) rgbe[i] = mantissa(in[i] * scale);
  rgbe[3] = static_cast<unsigned char>(exponent + 128);
}

bool readLine(std::FILE* stream, char line[kLineSize]) { return std::fgets(line, kLineSize, stream) != nullptr; }

bool isSoleLineFeed(const char* line) { return std::strcmp(line, "\n") == 0; }

void takeProgramType(const char* line, rgbeHeaderInfo& info) {
  info.valid |= RGBE_VALID_PROGRAMTYPE;
  size_t i = 0;
  for (; i < sizeof(info.programtype) - 1; ++i) {
    const char c = line[i + 2];
    if (c == '\0' || std::isspace(static_cast<unsigned char>(c))) break;
    info.programtype[i] = c;
  }
  info.programtype[i] = '\0';
}

void takeSetting(const char* line, rgbeHeaderInfo& info) {
  float value = 0.0f;
  if (std::sscanf(line, "GAMMA=%g", &value) == 1) {
    info.valid |= RGBE_VALID_GAMMA;
    info.gamma = value;
  } else if (std::sscanf(line, "EXPOSURE=%g", &value) == 1) {
    info.valid |= RGBE_VALID_EXPOSURE;
    info.exposure = value;
  }
}

// Reads one plane of `width` bytes made of run and literal packets. A packet that is empty or
// longer than what is left of the plane fails without writing.
int readPlane(std::FILE* stream, unsigned char* plane, int width) {
  unsigned char* at = plane;
  unsigned char* const end = plane + width;
  while (at < end) {
    unsigned char packet[2];
    if (std::fread(packet, 2, 1, stream) != 1) return readError();
    const bool run = packet[0] > 128;
    const int count = run ? packet[0] - 128 : packet[0];
    if (count == 0 || count > end - at) return -1;
    if (run) {
      std::memset(at, packet[1], static_cast<size_t>(count));
    } else {
      at[0] = packet[1];
      if (count > 1 && std::fread(at + 1, static_cast<size_t>(count - 1), 1, stream) != 1) return readError();
    }
    at += count;
  }
  return 0;
}

bool writeBytes(std::FILE* stream, const void* data, size_t size) {
  return size == 0 || std::fwrite(data, size, 1, stream) == 1;
}

bool writeRun(std::FILE* stream, int length, unsigned char value) {
  const unsigned char packet[2] = {static_cast<unsigned char>(128 + length), value};
  return writeBytes(stream, packet, 2);
}

}  // namespace

int rgbe_read_header(std::FILE* stream, int* width, int* height, rgbeHeaderInfo* info) {
  if (info != nullptr) *info = rgbeHeaderInfo{};
  char line[kLineSize];
  if (!readLine(stream, line)) return readError();
  if (info != nullptr && line[0] == '#' && line[1] == '?') {
    takeProgramType(line, *info);
    if (!readLine(stream, line)) return readError();
  }
  if (line[0] == '\0' || isSoleLineFeed(line)) return readError();

  bool formatFound = false;
  for (;;) {
    if (std::strcmp(line, "FORMAT=32-bit_rle_rgbe\n") == 0) {
      formatFound = true;
    } else if (info != nullptr) {
      takeSetting(line, *info);
    }
    if (!readLine(stream, line) || line[0] == '\0') return readError();
    if (isSoleLineFeed(line)) break;
  }
  if (!formatFound) return -1;

  if (!readLine(stream, line)) return readError();
  if (std::sscanf(line, "-Y %d +X %d", height, width) < 2) return -1;
  return 0;
}

int rgbe_write_header(std::FILE* stream, int width, int height, const rgbeHeaderInfo* info) {
  const char* programType =
      info != nullptr && (info->valid & RGBE_VALID_PROGRAMTYPE) ? info->programtype : "RGBE";
  if (std::fprintf(stream, "#?%s\n", programType) < 0) return writeError();
  if (info != nullptr && (info->valid & RGBE_VALID_GAMMA) && std::fprintf(stream, "GAMMA=%g\n", info->gamma) < 0)
    return writeError();
  if (info != nullptr && (info->valid & RGBE_VALID_EXPOSURE) &&
      std::fprintf(stream, "EXPOSURE=%g\n", info->exposure) < 0)
    return writeError();
  if (std::fprintf(stream, "FORMAT=32-bit_rle_rgbe\n\n") < 0) return writeError();
  if (std::fprintf(stream, "-Y %d +X %d\n", height, width) < 0) return writeError();
  return 0;
}

int rgbe_read_pixels(std::FILE* stream, float* data, int64_t count) {
  unsigned char chunk[4 * kChunkPixels];
  while (count > 0) {
    const int64_t pixels = std::min(count, kChunkPixels);
    if (std::fread(chunk, static_cast<size_t>(4 * pixels), 1, stream) != 1) return readError();
    for (int64_t i = 0; i < pixels; ++i) rgbeToFloat(chunk + 4 * i, data + 3 * i);
    data += 3 * pixels;
    count -= pixels;
  }
  return 0;
}

int rgbe_read_pixels_rle(std::FILE* stream, float* data, int width, int height) {
  if (width < kMinRleWidth || width > kMaxRleWidth) return rgbe_read_pixels(stream, data, int64_t{width} * height);
  std::unique_ptr<unsigned char, decltype(&std::free)> planes(nullptr, &std::free);
  for (int y = 0; y < height; ++y) {
    float* row = data + int64_t{3} * width * y;
    unsigned char rgbe[4];
    if (std::fread(rgbe, 4, 1, stream) != 1) return readError();
    if (rgbe[0] != 2 || rgbe[1] != 2 || (rgbe[2] & 0x80) != 0) {
      // No marker: the rest of the picture is flat, starting with these four bytes.
      rgbeToFloat(rgbe, row);
      return rgbe_read_pixels(stream, row + 3, int64_t{width} * (height - y) - 1);
    }
    if ((rgbe[2] << 8 | rgbe[3]) != width) return -1;
    if (!planes) {
      planes.reset(static_cast<unsigned char*>(std::malloc(static_cast<size_t>(4 * width))));
      if (!planes) return -1;
    }
    for (int plane = 0; plane < 4; ++plane) {
      if (readPlane(stream, planes.get() + plane * width, width) != 0) return -1;
    }
    for (int x = 0; x < width; ++x) {
      const unsigned char* p = planes.get();
      const unsigned char pixel[4] = {p[x], p[width + x], p[2 * width + x], p[3 * width + x]};
      rgbeToFloat(pixel, row + 3 * x);
    }
  }
  return 0;
}

uint64_t rgbe_min_pixel_bytes(int width, int height) {
  if (width < 1 || height < 1) return 0;
  const auto lines = static_cast<uint64_t>(height);
  if (width < kMinRleWidth || width > kMaxRleWidth) return 4 * static_cast<uint64_t>(width) * lines;
  // The marker, then per plane one two-byte run packet per kMaxRun bytes.
  const auto runs = static_cast<uint64_t>((width + kMaxRun - 1) / kMaxRun);
  return lines * (4 + 4 * 2 * runs);
}

int rgbe_write_pixels(std::FILE* stream, const float* data, int64_t count) {
  unsigned char chunk[4 * kChunkPixels];
  while (count > 0) {
    const int64_t pixels = std::min(count, kChunkPixels);
    for (int64_t i = 0; i < pixels; ++i) floatToRgbe(data + 3 * i, chunk + 4 * i);
    if (!writeBytes(stream, chunk, static_cast<size_t>(4 * pixels))) return writeError();
    data += 3 * pixels;
    count -= pixels;
  }
  return 0;
}

int rgbe_write_pixels_rle(std::FILE* stream, const float* data, int width, int height) {
  if (width < kMinRleWidth || width > kMaxRleWidth) return rgbe_write_pixels(stream, data, int64_t{width} * height);
  std::unique_ptr<unsigned char, decltype(&std::free)> planes(
      static_cast<unsigned char*>(std::malloc(static_cast<size_t>(4 * width))), &std::free);
  if (!planes) return rgbe_write_pixels(stream, data, int64_t{width} * height);
  for (int y = 0; y < height; ++y) {
    const unsigned char marker[4] = {2, 2, static_cast<unsigned char>(width >> 8),
                                     static_cast<unsigned char>(width & 0xFF)};
    if (!writeBytes(stream, marker, 4)) return writeError();
    unsigned char* p = planes.get();
    for (int x = 0; x < width; ++x) {
      unsigned char rgbe[4];
      floatToRgbe(data + (int64_t{width} * y + x) * 3, rgbe);
      for (int plane = 0; plane < 4; ++plane) p[plane * width + x] = rgbe[plane];
    }
    for (int plane = 0; plane < 4; ++plane) {
      if (rgbe_write_bytes_rle(stream, p + plane * width, width) != 0) return -1;
    }
  }
  return 0;
}

int rgbe_write_bytes_rle(std::FILE* stream, const unsigned char* data, int count) {
  int current = 0;
  while (current < count) {
    // Look for the next run of at least kMinRun equal bytes, stepping over shorter ones.
    int runStart = current;
    int runLength = 0;
    int shortRunLength = 0;
    while (runLength < kMinRun && runStart < count) {
      runStart += runLength;
      shortRunLength = runLength;
      runLength = 1;
      while (runStart + runLength < count && runLength < kMaxRun && data[runStart] == data[runStart + runLength])
        ++runLength;
    }
    // The bytes before the run are one short run of its own: a run packet serves them.
    if (shortRunLength > 1 && shortRunLength == runStart - current) {
      if (!writeRun(stream, shortRunLength, data[current])) return writeError();
      current = runStart;
    }
    while (current < runStart) {
      const int literal = std::min(kMaxLiteral, runStart - current);
      const auto head = static_cast<unsigned char>(literal);
      if (!writeBytes(stream, &head, 1) || !writeBytes(stream, data + current, static_cast<size_t>(literal)))
        return writeError();
      current += literal;
    }
    if (runLength >= kMinRun) {
      if (!writeRun(stream, runLength, data[runStart])) return writeError();
      current += runLength;
    }
  }
  return 0;
}

}  // namespace nox::image::io
