// CImageImporter: DXT compression of the stored pixels, the units that hold one mip level
// each, and the question whether a stored image is compressed.

#include <Magick++.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "import/ImageImporter.h"
#include "import/ImageTokens.h"
#include "texture/MipChain.h"

namespace {

using nox::import::Token;

constexpr TOK::FileToken kCompressionToken = TOK::FileToken(2908);
constexpr TOK::FileToken kLevelCountToken = TOK::FileToken(2912);

}  // namespace

std::string CImageImporter::levelName(int level) {
  char text[32];
  std::snprintf(text, sizeof text, UNIT_MMLEVEL_BASE_FMT, level);
  return text;
}

CDDS* CImageImporter::DXT() {
  if (dds == nullptr) {
    ddsOwner.reset(new (std::nothrow) CDDS());
    dds = ddsOwner.get();
  }
  return dds;
}

const COMPRESSED_IMAGE_DATA* CImageImporter::compressedImage(int level) const {
  if (dds == nullptr || level < 0 || static_cast<size_t>(level) >= dds->levels.size()) {
    return nullptr;
  }
  return &dds->levels[static_cast<size_t>(level)];
}

size_t CImageImporter::compressedImageNumMMLevels() const {
  return dds == nullptr ? 0 : dds->levels.size();
}

bool CImageImporter::compressImage(char* pixels, unsigned int&, const tagSIZE& dimensions) {
  const int w = dimensions.cx;
  const int h = dimensions.cy;
  if (w < 1 || h < 1 || DXT() == nullptr) return false;
  // The whole chain is always encoded; the mipmap bits only decide what is written.
  const int count = nox::texture::mipLevelCount(w, h);
  const int type = mode() == CompressionDXT1 ? 1 : mode() == CompressionDXT5 ? 3 : 0;
  blockBuffer = static_cast<unsigned char*>(
      std::malloc(static_cast<size_t>(nox::texture::mipChainSize(w, h, 4, 0, count, type))));
  if (blockBuffer == nullptr) return false;
  dds->quality = static_cast<int32_t>(imageQuality);
  dds->compress(blockBuffer, pixels, type, w, h, 4, count);
  // Accepted levels own the block buffer from here on.
  if (dds->levels.empty()) std::free(blockBuffer);
  blockBuffer = nullptr;
  return !dds->levels.empty();
}

bool CImageImporter::writeMipmapUnits(CNDBFile& file, bool compressed) {
  const Magick::Geometry size = picture.size();
  return writeMipmaps(file, workFormat, compressed, reinterpret_cast<const char*>(pixelBuffer),
                      static_cast<unsigned int>(sizePixel(workFormat)) * size.height() *
                          size.width());
}

bool CImageImporter::writeMipmaps(CNDBFile& file, GLFormat format, bool compressed,
                                  const char* pixels, unsigned int size) {
  const Magick::Geometry geometry = picture.size();
  int w = static_cast<int>(geometry.width());
  int h = static_cast<int>(geometry.height());
  const int count = compressed ? static_cast<int>(compressedImageNumMMLevels())
                               : nox::texture::mipLevelCount(w, h);
  if (count < 1) return false;
  bool failed = false;
  try {
    for (int i = 0; i < count && !failed; ++i) {
      if (file.SelectUnit(levelName(i).c_str(), 0, false) != 0) return false;
      const char* data = pixels;
      unsigned int bytes = 0;
      if (compressed) {
        const COMPRESSED_IMAGE_DATA& level = *compressedImage(i);
        data = reinterpret_cast<const char*>(level.data);
        bytes = level.size;
        w = level.dimensions.cx;
        h = level.dimensions.cy;
      } else {
        // Plain levels halve the byte count per level though the pixels quarter: the form
        // this branch has always written for callers of their own.
        bytes = size >> (i + 1);
        w >>= 1;
        h >>= 1;
        Magick::Image& image = picture.magickImage;
        const Magick::ImageType type = image.type();
        image.sample(Magick::Geometry(w, h, 0, 0, false, false));
        image.type(type);
        image.write(0, 0, w, h, formatName(format, false), Magick::CharPixel,
                    const_cast<char*>(pixels));
      }
      Token(file, 2913);
      Token(file, 2915);
      file << tagSIZE{w, h};
      Token(file, 62620);
      Token(file, 2916);
      file << bytes;
      if (bytes != 0) {
        failed = file.WriteBinary(data, static_cast<int>(bytes)) != static_cast<int>(bytes);
      }
      Token(file, 62619);
      Token(file, 62622);
    }
  } catch (...) {
    failed = true;
  }
  if (failed) {
    if (file.GetLastError() == 0) file.SetLastError(CNDBConstants::eGeneralFailure);
    return false;
  }
  return true;
}

int CImageImporter::IsCompressedImage(CNDBFile& file, int* levels) {
  if (!file.IsReadable() || file.SelectUnit(CNDBFile::UNIT_DATA, 0, false) != 0) return 0;
  int compression = 0;
  short count = 0;
  bool haveCompression = false;
  bool haveCount = false;
  try {
    while (!file.IsEOU() && !(haveCompression && haveCount)) {
      const TOK::FileToken token = file.ReadNextTokenEx();
      if (token == kCompressionToken) {
        file >> compression;
        haveCompression = true;
      } else if (token == kLevelCountToken) {
        file >> count;
        haveCount = true;
      } else if (token == TOK::None) {
        break;
      }
    }
  } catch (...) {
    return 0;
  }
  if (levels != nullptr) *levels = count;
  return compression;
}

int CImageImporter::IsCompressedImage(const CUUID& uuid, int* levels) {
  CNDBFile file(session);
  if (file.Open(uuid, CNDBFile::kModeRead, -1, nullptr, 0) != 0) return file.GetLastError();
  return IsCompressedImage(file, levels);
}
