#include "tests/support/MediaFiles.h"

#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfRgbaFile.h>
#include <stb_image_write.h>
#include <zlib.h>

#include <cstdio>
#include <stdexcept>

#include "image/io/ImageHandlerException.h"
#include "image/io/Rgbe.h"
#include "image/io/nbn/MemNoxImage.h"
#include "tests/support/TempDir.h"

namespace nox::test::io {
namespace {

void putBe32(Bytes& out, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(v >> shift));
}

void pngChunk(Bytes& out, const char type[5], const Bytes& data) {
  putBe32(out, static_cast<uint32_t>(data.size()));
  Bytes body(type, type + 4);
  body.insert(body.end(), data.begin(), data.end());
  out.insert(out.end(), body.begin(), body.end());
  putBe32(out, static_cast<uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))));
}

void appendToString(void* context, void* data, int size) {
  auto* out = static_cast<Bytes*>(context);
  const auto* bytes = static_cast<const uint8_t*>(data);
  out->insert(out->end(), bytes, bytes + size);
}

}  // namespace

std::string failureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const image::io::ImageHandlerException& e) {
    return std::to_string(e.code()) + ": " + e.what();
  }
  return "";
}

Bytes toBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }
std::string toString(const Bytes& b) { return std::string(b.begin(), b.end()); }

Bytes quadrantPicture(int width, int height, int channels) {
  constexpr Rgb kQuadrants[4] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
  Bytes out;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const Rgb c = kQuadrants[2 * (y >= height / 2) + (x >= width / 2)];
      const uint8_t alpha = static_cast<uint8_t>(255 - 3 * x);
      const uint8_t grey = static_cast<uint8_t>((c.r + 2 * c.g + c.b) / 4);
      // Grey and alpha for one or two channels, colour and alpha for three or four.
      const Bytes pixel = channels < 3 ? Bytes{grey, alpha} : Bytes{c.r, c.g, c.b, alpha};
      out.insert(out.end(), pixel.begin(), pixel.begin() + channels);
    }
  return out;
}

Bytes stbEncode(StbKind kind, int width, int height, int channels, const Bytes& pixels) {
  // The handler leaves the writer's process-wide flip switched on; these files are in file order.
  stbi_flip_vertically_on_write(0);
  Bytes out;
  int ok = 0;
  switch (kind) {
    case StbKind::Png: ok = stbi_write_png_to_func(appendToString, &out, width, height, channels, pixels.data(), 0); break;
    case StbKind::Bmp: ok = stbi_write_bmp_to_func(appendToString, &out, width, height, channels, pixels.data()); break;
    case StbKind::Tga: ok = stbi_write_tga_to_func(appendToString, &out, width, height, channels, pixels.data()); break;
    case StbKind::Jpg: ok = stbi_write_jpg_to_func(appendToString, &out, width, height, channels, pixels.data(), 100); break;
  }
  if (!ok) throw std::runtime_error("stb_image_write failed");
  return out;
}

Bytes pngFile(int width, int height, int colourType, int bitDepth, const Bytes& samples, const Bytes& palette) {
  Bytes png = {137, 80, 78, 71, 13, 10, 26, 10};
  Bytes header;
  putBe32(header, static_cast<uint32_t>(width));
  putBe32(header, static_cast<uint32_t>(height));
  header.insert(header.end(), {static_cast<uint8_t>(bitDepth), static_cast<uint8_t>(colourType), 0, 0, 0});
  pngChunk(png, "IHDR", header);
  if (!palette.empty()) pngChunk(png, "PLTE", palette);

  const int channels = colourType == 2 ? 3 : colourType == 4 ? 2 : colourType == 6 ? 4 : 1;
  const size_t rowBytes = (static_cast<size_t>(width) * channels * bitDepth + 7) / 8;
  Bytes filtered;
  for (int y = 0; y < height; ++y) {
    filtered.push_back(0);
    filtered.insert(filtered.end(), samples.begin() + static_cast<long>(y * rowBytes),
                    samples.begin() + static_cast<long>((y + 1) * rowBytes));
  }
  uLongf packedSize = compressBound(static_cast<uLong>(filtered.size()));
  Bytes packed(packedSize);
  if (compress(packed.data(), &packedSize, filtered.data(), static_cast<uLong>(filtered.size())) != Z_OK)
    throw std::runtime_error("zlib failed");
  packed.resize(packedSize);
  pngChunk(png, "IDAT", packed);
  pngChunk(png, "IEND", {});
  return png;
}

Bytes psdFile(int width, int height, int channels, int depth, const Bytes& samples) {
  // Signature, version 1, six reserved bytes, the channel count, height, width, depth, RGB mode.
  Bytes psd = {'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0, 0, static_cast<uint8_t>(channels)};
  putBe32(psd, static_cast<uint32_t>(height));
  putBe32(psd, static_cast<uint32_t>(width));
  psd.insert(psd.end(), {0, static_cast<uint8_t>(depth), 0, 3});
  psd.insert(psd.end(), 14, 0);  // empty colour mode, resources and layers sections; raw image data
  const int sampleBytes = depth / 8;
  const size_t pixels = static_cast<size_t>(width) * height;
  for (int c = 0; c < channels; ++c)
    for (size_t i = 0; i < pixels; ++i) {
      const size_t at = (i * channels + c) * sampleBytes;
      psd.insert(psd.end(), samples.begin() + static_cast<long>(at), samples.begin() + static_cast<long>(at + sampleBytes));
    }
  return psd;
}

Bytes exrFile(int width, int height, const std::vector<float>& rgba, int minX, int minY, int rowsWritten) {
  const Imath::Box2i window(Imath::V2i(minX, minY), Imath::V2i(minX + width - 1, minY + height - 1));
  const Imath::Box2i display(Imath::V2i(0, 0), Imath::V2i(minX + width - 1, minY + height - 1));
  Imf::Header header(display, window, 1.0f, Imath::V2f(0, 0), 1.0f, Imf::INCREASING_Y, Imf::PIZ_COMPRESSION);
  std::vector<Imf::Rgba> pixels(static_cast<size_t>(width) * height);
  for (size_t i = 0; i < pixels.size(); ++i)
    pixels[i] = Imf::Rgba(rgba[4 * i], rgba[4 * i + 1], rgba[4 * i + 2], rgba[4 * i + 3]);
  TempDir dir;
  const std::string path = dir.File("made.exr");
  {
    Imf::RgbaOutputFile file(path.c_str(), header, Imf::WRITE_RGBA);
    file.setFrameBuffer(pixels.data() - minX - static_cast<ptrdiff_t>(minY) * width, 1, static_cast<size_t>(width));
    file.writePixels(rowsWritten < 0 ? height : rowsWritten);
  }
  return toBytes(ReadFile(path));
}

Bytes hdrFile(int width, int height, const std::vector<float>& rgb, bool runLength) {
  TempDir dir;
  const std::string path = dir.File("made.hdr");
  std::FILE* stream = std::fopen(path.c_str(), "wb");
  if (stream == nullptr) throw std::runtime_error("cannot write " + path);
  image::io::rgbe_write_header(stream, width, height, nullptr);
  if (runLength)
    image::io::rgbe_write_pixels_rle(stream, rgb.data(), width, height);
  else
    image::io::rgbe_write_pixels(stream, rgb.data(), int64_t{width} * height);
  std::fclose(stream);
  return toBytes(ReadFile(path));
}

Bytes nbnFile(int width, int height, int pictureFormat, int packWord, unsigned flags, const Bytes& pixels) {
  image::io::CMemNoxImage nbn;
  nbn.set_geometry(width, height, pictureFormat);
  std::copy(pixels.begin(), pixels.end(), nbn.pixels());
  const uint32_t black[image::io::kNbnPaletteEntries] = {};
  if (pictureFormat == image::io::kNbnIndexed) nbn.set_palette(black);
  if (!nbn.save_to_memory(packWord, flags)) throw std::runtime_error("NBN save failed");
  return Bytes(nbn.buffer(), nbn.buffer() + nbn.high_water());
}

Rgb shownAt(const image::IImage& image, unsigned x, unsigned y) {
  const size_t channels = image.format() == image::FormatRGBA8 ? 4 : 3;
  const auto* bytes = static_cast<const uint8_t*>(const_cast<image::IImage&>(image).data());
  const uint8_t* p = bytes + (static_cast<size_t>(image.height() - 1 - y) * image.width() + x) * channels;
  return {p[0], p[1], p[2]};
}

}  // namespace nox::test::io
