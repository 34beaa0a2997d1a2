// CImageImporter: the database file of a still image. Its units are the three icons, the
// image record in UNIT_DATA, "Original" on request, and one unit per compressed mip level;
// the token order of each is a file format that other software reads, so it is kept exactly.

#include <Magick++.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "import/ImageImporter.h"
#include "import/ImageTokens.h"

using nox::import::Token;
using nox::import::WriteIcon;
using nox::import::WritePixels;

bool CImageImporter::storeOriginalTest() const {
  const uint32_t bits = mode() != 0 ? StoreOriginalIfCompressedBit | StoreOriginalBit
                                    : uint32_t{StoreOriginalBit};
  return (settings & bits) != 0;
}

void CImageImporter::writePicture(CNDBFile& file, const tagSIZE& size, GLFormat format) {
  Token(file, 1425);
  Token(file, 1428);
  file << size;
  Token(file, 64107);
  Token(file, 1431);
  file << static_cast<unsigned int>(format);
  Token(file, 64104);
}

bool CImageImporter::WriteToDB(bool overwrite, CNOFChecksum* checksum, const CUUID* folder,
                               CUUID* uuid, bool createWithUuid) {
  const uint32_t saved = settings;
  if (!prepareImage()) return false;
  const Magick::Image& image = picture.magickImage;
  const tagSIZE size{static_cast<int32_t>(image.columns()), static_cast<int32_t>(image.rows())};
  // A failed encoder is no failure of the import: the file is then written uncompressed.
  compressedFlag = workFormat == GL_RGBA && mode() != 0 &&
                   compressImage(reinterpret_cast<char*>(pixelBuffer), bufferSize, size);

  CNDBFile file(session);
  if (!OpenDBFile(file, overwrite, checksum, folder, createWithUuid, uuid, iconLarge.Width(),
                  iconLarge.Height())) {
    return false;
  }
  // An automatic mode was resolved for this picture only; the next import resolves it anew.
  settings = saved;
  if (writeTo(file, compressedFlag)) return true;
  std::free(blockBuffer);
  blockBuffer = nullptr;
  return DismissCorrupt(file);
}

bool CImageImporter::AddSpecialUnits(CNDBFile& file) {
  if (iconSmall.IsValid()) {
    file.InsertSizeAttribute(CNDBFile::UNIT_ICON_DEFAULT, iconSmall.Width(), iconSmall.Height());
    file.InsertSizeAttribute(CNDBFile::UNIT_ICON_SMALL, iconSmall.Width(), iconSmall.Height());
  }
  if (iconLarge.IsValid()) {
    file.InsertSizeAttribute(CNDBFile::UNIT_ICON_LARGE, iconLarge.Width(), iconLarge.Height());
  }
  const Magick::Geometry dataSize = picture.size();
  file.InsertSizeAttribute(CNDBFile::UNIT_DATA, static_cast<int>(dataSize.width()),
                           static_cast<int>(dataSize.height()));
  if (storeOriginalTest()) {
    const Magick::Image& source = dataSource(nullptr);
    const tagSIZE size{static_cast<int32_t>(source.columns()), static_cast<int32_t>(source.rows())};
    file.AddAttribute(UNIT_ORIGINAL, &size);
  }
  if (compressedFlag && (settings & (MipmapsBit | MipmapsCompressedBit)) != 0) {
    for (size_t level = 0; level < compressedImageNumMMLevels(); ++level) {
      file.AddAttribute(levelName(static_cast<int>(level)).c_str(), nullptr);
    }
  }
  return true;
}

bool CImageImporter::writeTo(CNDBFile& file, bool compressed) {
  if (file.SelectUnit(CNDBFile::UNIT_ICON_SMALL, 0, false) != 0) return false;
  WriteIcon(file, iconSmall);
  if (file.SelectUnit(CNDBFile::UNIT_ICON_DEFAULT, 0, false) != 0) return false;
  WriteIcon(file, iconSmall);
  if (file.SelectUnit(CNDBFile::UNIT_ICON_LARGE, 0, false) != 0) return false;
  WriteIcon(file, iconLarge);
  try {
    // Mip levels exist only for compressed images.
    const bool mipmaps = compressed && (settings & (MipmapsBit | MipmapsCompressedBit)) != 0;
    writeDataUnit(file, compressed, mipmaps);
    writeOriginalUnit(file);
    if (mipmaps) writeMipmapUnits(file, compressed);
  } catch (...) {
    // Recorded on the file as well as on the session, so that a write cut short by an
    // exception is given up rather than kept half written.
    if (file.GetLastError() == 0) file.SetLastError(CNDBConstants::eGeneralFailure);
  }
  return file.GetLastError() == 0;
}

bool CImageImporter::writeDataUnit(CNDBFile& file, bool compressed, bool mipmaps) {
  if (file.SelectUnit(CNDBFile::UNIT_DATA, 0, false) != 0) return false;
  bool fromKept = false;
  Magick::Image& source = dataSource(&fromKept);
  const int w = static_cast<int>(source.columns());
  const int h = static_cast<int>(source.rows());
  GLFormat format = workFormat;
  unsigned int bytes = static_cast<unsigned int>(sizePixel(format)) * h * w;

  const bool scaleDownBit = (settings & ScaleDownDataBit) != 0;
  const bool writeRaw = !compressed || (settings & (KeepOriginalBit | ScaleDownDataBit)) != 0;
  int outW = w;
  int outH = h;
  const int larger = std::max(w, h);
  if (writeRaw && scaleDownBit && compressed && larger > previewLimit) {
    const double factor = static_cast<double>(previewLimit) / larger;
    outW = static_cast<int>(w * factor + 0.5);
    outH = static_cast<int>(h * factor + 0.5);
  }
  const bool scaleDown = scaleDownBit && (w > outW || h > outH);
  if (scaleDownBit && sourceFormat != format) {
    format = sourceFormat;
    setRawLayout(keptImage, format);
    keptImage.modifyImage();
    bytes = static_cast<unsigned int>(sizePixel(format)) * outH * outW;
  }

  Token(file, 1424);
  Token(file, 1433);
  file << name;
  Token(file, 64102);
  Token(file, 1426);
  writePicture(file, tagSIZE{outW, outH}, format);
  if (writeRaw) {
    if (scaleDown) {
      Magick::Image reduced(source);
      std::printf("scale down from %dx%d to %dx%d\n", w, h, outW, outH);
      reduced.scale(Magick::Geometry(outW, outH, 0, 0, false, false));
      exportPixels(reduced, outW, outH, format);
      WritePixels(file, pixelBuffer, static_cast<uint64_t>(sizePixel(format)) * outH * outW);
    } else {
      if (fromKept) exportPixels(source, w, h, format);
      if (picture.IsNoxImage()) {
        // Model pictures keep their own pixel format here, whatever the format token says.
        nox::image::IImage& image = *picture.noxImage;
        WritePixels(file, image.data(),
                    nox::image::formatImageSize(static_cast<int>(image.width()),
                                                static_cast<int>(image.height()), image.format()));
      } else {
        WritePixels(file, pixelBuffer, bytes);
      }
    }
  }
  Token(file, 64110);
  Token(file, 64109);
  if (!compressed) {
    Token(file, 64111);
    return true;
  }

  std::printf("save compressed: %dx%d => %d\n", w, h, static_cast<int>(bytes));
  writeCompressionRecord(file);
  if (!mipmaps) {
    const COMPRESSED_IMAGE_DATA* top = compressedImage(0);
    Token(file, 2909);
    file.WriteBinary(top ? reinterpret_cast<const char*>(top->data) : nullptr,
                     top ? static_cast<int>(top->size) : 0);
    Token(file, 62626);
  } else {
    writeLevelList(file);
  }
  Token(file, 64111);
  return true;
}

void CImageImporter::writeCompressionRecord(CNDBFile& file) {
  const COMPRESSED_IMAGE_DATA* top = compressedImage(0);
  Token(file, 2907);
  file << static_cast<unsigned int>(top ? top->size : 0);
  Token(file, 62628);
  Token(file, 2908);
  file << static_cast<int>(activeCompression);
  Token(file, 62627);
}

void CImageImporter::writeLevelList(CNDBFile& file) {
  // A single level is found in its unit without a list.
  const size_t count = compressedImageNumMMLevels();
  if (count < 2) return;
  Token(file, 2912);
  file << static_cast<short>(count);
  Token(file, 62623);
  Token(file, 2911);
  for (size_t level = 0; level < count; ++level) {
    Token(file, 2913);
    Token(file, 2915);
    file << compressedImage(static_cast<int>(level))->dimensions;
    Token(file, 62620);
    Token(file, 2916);
    file << levelName(static_cast<int>(level));
    Token(file, 62619);
    Token(file, 62622);
  }
  Token(file, 62624);
}

void CImageImporter::writeOriginalTail(CNDBFile& file) {
  // The second size has always been stored as zero by zero.
  Token(file, 1434);
  file << tagSIZE{0, 0};
  Token(file, 64101);
  Token(file, 64110);
  Token(file, 62625);
  Token(file, 64111);
}

bool CImageImporter::writeOriginalUnit(CNDBFile& file) {
  if (!storeOriginalTest()) return true;
  if (file.SelectUnit(UNIT_ORIGINAL, 0, false) != 0) return false;
  try {
    Token(file, 1424);
    Token(file, 2910);
    if (picture.IsNoxImage()) {
      nox::image::IImage& image = *picture.noxImage;
      writePicture(file, tagSIZE{static_cast<int32_t>(image.width()), static_cast<int32_t>(image.height())},
                   picture.toGLFormat());
      WritePixels(file, image.data(),
                  nox::image::formatImageSize(static_cast<int>(image.width()),
                                              static_cast<int>(image.height()), image.format()));
    } else {
      Magick::Image source = dataSource(nullptr);
      if (workFormat != sourceFormat) {
        // A copy in the source's layout; the kept picture itself stays as it is.
        source.modifyImage();
        setRawLayout(source, sourceFormat);
        source.modifyImage();
      }
      const unsigned int w = source.columns();
      const unsigned int h = source.rows();
      exportPixels(source, w, h, sourceFormat);
      writePicture(file, tagSIZE{static_cast<int32_t>(w), static_cast<int32_t>(h)}, sourceFormat);
      WritePixels(file, pixelBuffer, static_cast<uint64_t>(sizePixel(sourceFormat)) * h * w);
    }
    writeOriginalTail(file);
    return true;
  } catch (...) {
    return false;
  }
}
