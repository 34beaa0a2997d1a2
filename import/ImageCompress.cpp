// CImageImporter::Compress: turns a stored, uncompressed image into a compressed one with a
// mip chain, in place. The data unit is read token by token and replayed with its pixels
// reduced or kept, the old pixels become "Original", the other units go back byte for byte,
// and the whole rewrite is one transaction of the database.

#include <Magick++.h>

#include <algorithm>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "import/ImageImporter.h"
#include "import/ImageTokens.h"

namespace {

constexpr unsigned short kBinary = TOK::Binary;
constexpr unsigned int kRawBlock = 512000;
constexpr unsigned int kRawPacket = 51200;
constexpr unsigned int kRawFailure = 0xFFFFFFFFu;

// One token of the data unit with the plain value bytes that followed it.
struct TokenRecord {
  unsigned short token;
  std::string bytes;
};

// A unit's stored bytes, block by block, with the flag each block was read with.
struct RawBlock {
  std::string bytes;
  bool flag;
};

using nox::import::Token;
using nox::import::WriteIcon;

bool IsIconUnit(const std::string& name) {
  return name == CNDBFile::UNIT_ICON_SMALL || name == CNDBFile::UNIT_ICON_DEFAULT ||
         name == CNDBFile::UNIT_ICON_LARGE;
}

// Reads the current unit's value bytes up to the next token into `bytes`.
void ReadValue(CNDBFile& file, std::string& bytes) {
  unsigned char byte;
  while (file.GetNextToken() == 0 && !file.IsEOU() && file.Read(&byte, 1) == 1) {
    bytes.push_back(static_cast<char>(byte));
  }
}

}  // namespace

CImageImporter::ECompressError CImageImporter::Compress(CNDBFile& file, int compression) {
  compressedFlag = true;
  SetCompressed(static_cast<unsigned long>(compression));
  SetStoreOriginal(true, true);
  SetGenerateMipmaps(true, true);
  FileState state;
  file.GetFileStatus(state);
  forcedFormat = GL_NONE;
  const bool hasLevels = file.SelectUnit(levelName(0).c_str(), 0, true) == 0;
  bool hasLargeIcon = false;

  std::vector<TokenRecord> records;
  std::map<std::string, std::vector<RawBlock>> saved;
  std::string oldPixels;
  tagSIZE oldSize;
  tagSIZE outSize;
  GLFormat format = GL_NONE;
  int seen = 0;

  // First pass: read every unit.
  for (const FileState::UNIT& unit : state.units) {
    if (unit.status() != 0) continue;
    const std::string unitName = unit.name();
    if (file.SelectUnit(unitName.c_str(), 0, true) != 0) return CompressUnitUnreadable;
    std::vector<RawBlock>& blocks = saved[unitName];
    if (unitName == CNDBFile::UNIT_ICON_LARGE) hasLargeIcon = true;

    if (unitName != CNDBFile::UNIT_DATA) {
      tagSIZE size;
      if (IsIconUnit(unitName) && !file.GetSizeAttribute(unitName.c_str(), size, false)) {
        try {
          TOK::FileToken token = TOK::None;
          while (!file.IsEOU() && (token = file.ReadNextTokenEx()) != 3 && token != TOK::None) {
          }
          if (token == 3) {
            CNPBM icon;
            file >> icon;
            file.InsertSizeAttribute(unitName.c_str(), icon.Width(), icon.Height());
          }
        } catch (...) {
          return CompressBadData;
        }
      }
      const int index = file.GetCurrentUnit();
      for (unsigned long long offset = 0;;) {
        std::string block(kRawBlock, '\0');
        bool flag = true;
        const unsigned int got = file.RawRead(index, offset, block.data(), kRawBlock, &flag);
        if (got == 0 || got == kRawFailure) break;
        block.resize(got);
        blocks.push_back({std::move(block), flag});
        offset += got;
        if (file.IsEOU()) break;
      }
      continue;
    }

    while (!file.IsEOU()) {
      TOK::FileToken token;
      try {
        token = file.ReadNextTokenEx();
      } catch (...) {
        return CompressBadData;
      }
      if (token == TOK::None) break;
      switch (static_cast<unsigned short>(token)) {
        // A file with levels whose record says so is compressed already; without levels
        // these tokens are dropped unread.
        case 2907: {
          unsigned int value = 0;
          if (hasLevels && (file >> value, value != 0)) return CompressAlreadyCompressed;
          break;
        }
        case 2908: {
          int value = 0;
          if (hasLevels && (file >> value, value != 0)) return CompressAlreadyCompressed;
          break;
        }
        case 2912: {
          unsigned short value = 0;
          if (hasLevels && (file >> value, value != 0)) return CompressAlreadyCompressed;
          break;
        }
        case 1428: {
          unsigned int width = 0;
          unsigned int height = 0;
          file >> width >> height;
          oldSize = tagSIZE{static_cast<int32_t>(width), static_cast<int32_t>(height)};
          outSize = oldSize;
          const int larger = std::max(oldSize.cx, oldSize.cy);
          if ((settings & ScaleDownDataBit) != 0 && larger > previewLimit) {
            const double factor = static_cast<double>(previewLimit) / larger;
            outSize.cx = static_cast<int>(oldSize.cx * factor + 0.5);
            outSize.cy = static_cast<int>(oldSize.cy * factor + 0.5);
          }
          seen |= 1;
          records.push_back(
              {1428, std::string(reinterpret_cast<const char*>(&outSize), sizeof outSize)});
          break;
        }
        case 1431: {
          unsigned int value = 0;
          file >> value;
          format = static_cast<GLFormat>(value);
          forcedFormat = format;
          seen |= 2;
          records.push_back({1431, std::string(reinterpret_cast<const char*>(&value), sizeof value)});
          break;
        }
        case 1427: {
          file.SetLastError(CNDBConstants::eDamagedData);
          seen |= 4;
          if (seen != 7) {
            file.SetLastError(CNDBConstants::eDamagedData);
            return CompressBadData;
          }
          records.push_back({1427, {}});
          try {
            if (file.ReadNextTokenEx() != TOK::Binary) {
              file.SetLastError(CNDBConstants::eDamagedData);
              return CompressBadData;
            }
            records.push_back({kBinary, {}});
            oldPixels.assign(file.GetBinarySize(), '\0');
            if (file.Read(reinterpret_cast<unsigned char*>(oldPixels.data()),
                          static_cast<int>(oldPixels.size())) != static_cast<int>(oldPixels.size())) {
              return CompressBadData;
            }
          } catch (...) {
            return CompressBadData;
          }
          const tagSIZE& out = outSize;
          Magick::Image reduced;
          try {
            Magick::Image stored;
            stored.read(oldSize.cx, oldSize.cy, formatName(format, false), Magick::CharPixel,
                        oldPixels.data());
            stored.magick(formatName(format, true));
            picture.set(stored);
            reduced = stored;
            reduced.modifyImage();
          } catch (const Magick::Exception&) {
            return CompressImageUnreadable;
          }
          // A stored picture with a layout of its own: prepareImage takes it from forcedFormat.
          if (!prepareImage()) return CompressPrepareFailed;
          reduced.scale(Magick::Geometry(out.cx, out.cy, 0, 0, false, false));
          std::string& plain = records.back().bytes;
          try {
            plain.assign(exportPixelSize(format) * out.cx * out.cy, '\0');
          } catch (const std::bad_alloc&) {
            file.SetLastError(CNDBConstants::eNoMemory);
            return CompressNoMemory;
          }
          reduced.write(0, 0, out.cx, out.cy, formatName(format, false), Magick::CharPixel,
                        plain.data());
          plain.resize(static_cast<size_t>(sizePixel(format)) * out.cx * out.cy);
          break;
        }
        default: {
          records.push_back({token, {}});
          if (token <= 32768) ReadValue(file, records.back().bytes);
          break;
        }
      }
    }
  }

  // Second stage: encode, declare the new unit list, make the icons, reopen for rewriting.
  const bool iconsChange = ((compression & 15) != 1) !=
                           (forcedFormat == GL_RGBA || forcedFormat == GL_LUMINANCE_ALPHA);
  const Magick::Geometry size = picture.size();
  const tagSIZE dimensions{static_cast<int32_t>(size.width()), static_cast<int32_t>(size.height())};
  if (!compressImage(reinterpret_cast<char*>(pixelBuffer), bufferSize, dimensions)) {
    return CompressEncodeFailed;
  }
  for (const FileState::UNIT& unit : state.units) {
    if (unit.name() == UNIT_ORIGINAL) continue;
    file.AddAttribute(unit.name().c_str(), nullptr);
    if (unit.name() == CNDBFile::UNIT_DATA) AddSpecialUnits(file);
  }
  const int units = file.GetFileUnitCount();
  const std::vector<std::string>* last = file.GetAttribute(static_cast<unsigned int>(units - 1));
  if (last != nullptr && !last->empty() && !state.units.empty() &&
      state.units.back().status() == 0) {
    file.InsertUnit(CNDBFile::UNIT_VERSION, last->front().c_str());
  }
  const CUUID uuid = file.GetUuid();
  file.Close(nullptr, true);

  const Magick::Image& iconSource = keptImage.isValid() ? keptImage : picture.magickImage;
  if (iconsChange || !hasLargeIcon) {
    file.InsertUnit(CNDBFile::UNIT_ICON_LARGE, CNDBFile::UNIT_ICON_DEFAULT);
    makeIcons(iconSource, iconsChange, true);
  }
  if (file.Open(uuid, CNDBFile::kModeRewriteInPlace, file.GetFileUnitCount(), state.Checksum(), 0) != 0) {
    return CompressReopenFailed;
  }

  // Third stage: write every unit of the new list.
  ECompressError result = CompressOk;
  const std::string firstLevel = levelName(0);
  const std::string levelPrefix = firstLevel.substr(0, firstLevel.size() - 2);
  FileState rewritten;
  file.GetFileStatus(rewritten);
  for (const FileState::UNIT& unit : rewritten.units) {
    const std::string unitName = unit.name();
    if (unitName.compare(0, levelPrefix.size(), levelPrefix) == 0 && unitName != firstLevel) {
      continue;  // written with the first level
    }
    file.SelectUnitByIndex(unit.index(), 0, 0);
    if (unitName == CNDBFile::UNIT_DATA) {
      for (const TokenRecord& record : records) {
        if (record.token == kBinary) {
          file.WriteBinary(record.bytes.data(), static_cast<int>(record.bytes.size()));
        } else {
          Token(file, record.token);
          if (!record.bytes.empty()) {
            file.Write(reinterpret_cast<const unsigned char*>(record.bytes.data()),
                       static_cast<int>(record.bytes.size()));
          }
        }
        if (record.token == 64109) {
          writeCompressionRecord(file);
          writeLevelList(file);
        }
      }
    } else if (unitName == UNIT_ORIGINAL) {
      Token(file, 1424);
      Token(file, 2910);
      writePicture(file, oldSize, format);
      Token(file, 1427);
      file.WriteBinary(oldPixels.data(), static_cast<int>(oldPixels.size()));
      Token(file, 64108);
      writeOriginalTail(file);
    } else if (unitName == firstLevel) {
      if (!writeMipmapUnits(file, true)) result = CompressMipmapWriteFailed;
    } else if (iconsChange && (unitName == CNDBFile::UNIT_ICON_DEFAULT ||
                               unitName == CNDBFile::UNIT_ICON_SMALL)) {
      WriteIcon(file, iconSmall);
    } else if (unitName == CNDBFile::UNIT_ICON_LARGE && !hasLargeIcon) {
      WriteIcon(file, iconLarge);
    } else {
      int packet = 0;
      for (const RawBlock& block : saved[unitName]) {
        for (size_t at = 0; at < block.bytes.size(); at += kRawPacket, ++packet) {
          const unsigned int n =
              static_cast<unsigned int>(std::min<size_t>(kRawPacket, block.bytes.size() - at));
          bool flag = block.flag;
          if (file.RawWrite(file.GetCurrentUnit(), packet, block.bytes.data() + at, n, &flag) < 1) {
            break;
          }
        }
      }
    }
  }
  return result;
}
