#include "image/io/nbn/NbnLayout.h"

#include <cstring>

#include "image/io/nbn/LittleEndian.h"

namespace nox::image::io {

namespace {

int32_t loadInt(const uint8_t* p) { return static_cast<int32_t>(loadLE32(p)); }

}  // namespace

NbnHeader decodeNbnHeader(const uint8_t bytes[kNbnHeaderSize]) {
  NbnHeader h;
  h.magic = loadLE32(bytes);
  h.version = loadInt(bytes + 4);
  h.subVersion = loadInt(bytes + 8);
  h.width = loadInt(bytes + 12);
  h.height = loadInt(bytes + 16);
  h.bytesPerPixel = loadInt(bytes + 20);
  h.packWord = loadInt(bytes + 24);
  h.pictureFormat = loadInt(bytes + 28);
  h.levelCount = loadInt(bytes + 32);
  h.payloadSize = loadInt(bytes + 36);
  h.fullImageSize = loadInt(bytes + 40);
  h.hasPalette = static_cast<uint16_t>(loadLE16(bytes + 44));
  h.transparentIndex = static_cast<int16_t>(loadLE16(bytes + 46));
  h.hasGeoBlock = static_cast<uint16_t>(loadLE16(bytes + 48));
  h.blankFlag = static_cast<uint16_t>(loadLE16(bytes + 50));
  return h;
}

void encodeNbnHeader(const NbnHeader& h, uint8_t bytes[kNbnHeaderSize]) {
  std::memset(bytes, 0, kNbnHeaderSize);
  const uint32_t words[11] = {h.magic,
                              uint32_t(h.version),
                              uint32_t(h.subVersion),
                              uint32_t(h.width),
                              uint32_t(h.height),
                              uint32_t(h.bytesPerPixel),
                              uint32_t(h.packWord),
                              uint32_t(h.pictureFormat),
                              uint32_t(h.levelCount),
                              uint32_t(h.payloadSize),
                              uint32_t(h.fullImageSize)};
  for (int i = 0; i < 11; ++i) storeLE(bytes + 4 * i, words[i], 4);
  storeLE(bytes + 44, h.hasPalette, 2);
  storeLE(bytes + 46, uint16_t(h.transparentIndex), 2);
  storeLE(bytes + 48, h.hasGeoBlock, 2);
  storeLE(bytes + 50, h.blankFlag, 2);
}

NbnGeoBlock decodeNbnGeoBlock(const uint8_t bytes[kNbnGeoBlockSize]) {
  NbnGeoBlock block;
  block.type = loadLE32(bytes);
  for (int i = 0; i < 4; ++i) block.bounds[i] = loadLEDouble(bytes + 8 + 8 * i);
  return block;
}

void encodeNbnGeoBlock(const NbnGeoBlock& block, uint8_t bytes[kNbnGeoBlockSize]) {
  std::memset(bytes, 0, kNbnGeoBlockSize);
  storeLE(bytes, block.type, 4);
  for (int i = 0; i < 4; ++i) storeLEDouble(bytes + 8 + 8 * i, block.bounds[i]);
}

int nbnFormatBytes(int pictureFormat) {
  static constexpr int kBytes[7] = {1, 1, 2, 3, 0, 4, 1};
  return pictureFormat >= 0 && pictureFormat < 7 ? kBytes[pictureFormat] : 0;
}

int64_t nbnImageBytes(int width, int height, int bytesPerPixel, float factor) {
  const auto product = static_cast<int32_t>(uint32_t(width) * uint32_t(height) * uint32_t(bytesPerPixel));
  return static_cast<int64_t>(static_cast<float>(product) * factor);
}

}  // namespace nox::image::io
