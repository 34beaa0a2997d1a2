// Writes a small tree of media for the gallery test into the folder given: pictures of both
// reading roads made by the shared builders, and a clip whose name needs escaping in HTML.

#include <filesystem>
#include <fstream>
#include <iostream>

#include "tests/support/MediaFiles.h"
#include "tests/support/MediaSamples.h"

namespace fs = std::filesystem;
namespace io = nox::test::io;

namespace {

void Put(const fs::path& path, const io::Bytes& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: gallery_media OUT_FOLDER\n";
    return 2;
  }
  const fs::path out = argv[1];
  const io::Bytes photo = io::quadrantPicture(96, 64, 4);
  Put(out / "pictures/photo.png", io::stbEncode(io::StbKind::Png, 96, 64, 4, photo));
  Put(out / "pictures/grey.jpg", io::stbEncode(io::StbKind::Jpg, 40, 40, 1, io::quadrantPicture(40, 40, 1)));
  Put(out / "pictures/alpha & <more>.tga", io::stbEncode(io::StbKind::Tga, 32, 48, 4, io::quadrantPicture(32, 48, 4)));
  std::vector<float> sky(3 * 32 * 16);
  for (size_t i = 0; i < sky.size(); ++i) sky[i] = (i % 3 == 2 ? 4.0f : 0.5f) * float(i) / float(sky.size());
  Put(out / "light/sky.hdr", io::hdrFile(32, 16, sky, true));
  std::vector<float> glow(4 * 24 * 24, 1.0f);
  for (size_t i = 0; i < glow.size(); i += 4) glow[i] = 3.0f * float(i % 96) / 96.0f;
  Put(out / "light/glow.exr", io::exrFile(24, 24, glow));
  Put(out / "compressed/blocks.png", io::stbEncode(io::StbKind::Png, 64, 64, 4, nox::test::nbn::blockExactRgba(64, 64, 3)));
  Put(out / "clip/thumb.png", io::stbEncode(io::StbKind::Png, 96, 64, 4, photo));
  Put(out / "clip/clip.bin", io::Bytes(4000, 0x5a));
  Put(out / "clip/dawn.xml",
      io::toBytes("<clip><field name=\"clipname\"><value>Dawn &lt;b&gt; &amp; \"quotes\" 'too'</value></field>"
                  "<field name=\"clip\"><value>clip.bin</value></field>"
                  "<field name=\"thumbnail\"><value>thumb.png</value></field>"
                  "<mode>ignore_details</mode></clip>"));
  return 0;
}
