#include "fuzz/FuzzSeeds.h"

#include "image/io/nbn/LzCodec.h"
#include "image/io/nbn/NbnLayout.h"
#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaSamples.h"

namespace nox::fuzz {
namespace {

using namespace test::io;
using image::io::kNbnRgb;
using image::io::kNbnRgba;

std::vector<float> floats(size_t count) {
  std::vector<float> out(count);
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<float>(i % 13) / 3.0f;
  return out;
}

test::exif::ExifBuilder exifBlock(bool little) {
  test::exif::ExifBuilder b(little);
  b.main(271, 2, 6, test::exif::ExifBuilder::ascii("Maker"))
      .orientation(6)
      .exif(33434, 5, 1, b.rationals({{1, 60}}))
      .gps(2, 5, 3, b.rationals({{48, 1}, {30, 1}, {36, 1}}));
  return b;
}

Bytes lzBlock(const Bytes& input) {
  Bytes out(image::io::lz_pack_bound(input.size()));
  static image::io::LzWorkMemory work;
  out.resize(image::io::lz_pack(input.data(), out.data(), input.size(), work));
  return out;
}

}  // namespace

std::vector<Seed> seedsOf(const std::string& target) {
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes rgba = quadrantPicture(8, 8, 4);
  if (target == "hdr")
    return {{"rle-16x4", hdrFile(16, 4, floats(16 * 4 * 3), true)}, {"flat-7x3", hdrFile(7, 3, floats(7 * 3 * 3), false)}};
  if (target == "stbi") {
    const Bytes jpeg = stbEncode(StbKind::Jpg, 8, 8, 3, rgb);
    return {{"png", stbEncode(StbKind::Png, 8, 8, 4, rgba)},
            {"png-grey16", pngFile(4, 4, 0, 16, Bytes(32, 0x5A))},
            {"bmp", stbEncode(StbKind::Bmp, 8, 8, 3, rgb)},
            {"tga-rle", stbEncode(StbKind::Tga, 8, 8, 4, rgba)},
            {"jpeg", jpeg},
            {"jpeg-exif", test::exif::spliceAfterSoi(jpeg, exifBlock(true).segment())},
            {"psd", psdFile(8, 8, 3, 8, rgb)}};
  }
  if (target == "exr")
    return {{"piz-8x8", exrFile(8, 8, floats(8 * 8 * 4))}, {"window-4-2", exrFile(4, 4, floats(64), 4, 2)},
            {"incomplete", exrFile(8, 40, floats(8 * 40 * 4), 0, 0, 3)}};
  if (target == "nbn") {
    using namespace image::io;
    return {{"raw-chain", nbnFile(8, 8, kNbnRgba, kNbnRaw, kNbnMipChain, rgba)},
            {"lz-rgb", nbnFile(8, 8, kNbnRgb, kNbnLz, 0, rgb)},
            {"dxt5", nbnFile(8, 8, kNbnRgba, kNbnDxt5, 0, rgba)},
            {"lz-dxt1-full-copy", nbnFile(16, 16, kNbnRgba, kNbnLzDxt1, kNbnMipChain | kNbnFullCopy, {})}};
  }
  if (target == "lz") {
    using test::nbn::Kind;
    return {{"text", lzBlock(test::nbn::sampleBytes(Kind::Text, 600))},
            {"runs", lzBlock(test::nbn::sampleBytes(Kind::Runs, 3000))},
            {"stored", lzBlock(test::nbn::sampleBytes(Kind::Random, 100))}};
  }
  if (target == "exif")
    return {{"little", test::exif::jpegAround(exifBlock(true).segment())},
            {"big", test::exif::jpegAround(exifBlock(false).segment())}};
  if (target == "clip")
    return {{"description", toBytes("<clip><field name=\"clip\"><value>a.mov</value></field>"
                                    "<field name=\"clipname\"><value>A</value></field>"
                                    "<field name=\"start_tc\"><value>01:02:03:040</value></field>"
                                    "<field name=\"width\"><value>1920</value></field>"
                                    "<mode>proxy_only no_icon</mode></clip>")}};
  return {};
}

}  // namespace nox::fuzz
