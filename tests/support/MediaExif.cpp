#include "tests/support/MediaExif.h"

#include <algorithm>

namespace nox::test::exif {

Bytes tiff(bool littleEndian, const std::vector<Entry>& entries) {
  const auto put = [littleEndian](Bytes& out, size_t at, size_t value, size_t size) {
    for (size_t i = 0; i < size; ++i) out[at + (littleEndian ? i : size - 1 - i)] = static_cast<uint8_t>(value >> (8 * i));
  };
  std::vector<Entry> ifds[3];
  for (const Entry& e : entries) ifds[e.ifd].push_back(e);
  // Links to the EXIF and GPS IFDs; their offsets are known once the IFD sizes are.
  for (Ifd linked : {kExif, kGps})
    if (!ifds[linked].empty()) ifds[kMain].push_back({kMain, uint16_t(linked == kExif ? 34665 : 34853), 4, {}});
  size_t at[4] = {8};
  for (int i = 0; i < 3; ++i) at[i + 1] = at[i] + (ifds[i].empty() ? 0 : 2 + 12 * ifds[i].size() + 4);
  for (Entry& e : ifds[kMain])
    if (e.tag == 34665 || e.tag == 34853) e.values = {static_cast<uint32_t>(at[e.tag == 34665 ? kExif : kGps])};

  Bytes out(at[3]);
  out[0] = out[1] = littleEndian ? 'I' : 'M';
  put(out, 2, 42, 2);
  put(out, 4, at[kMain], 4);
  for (int i = 0; i < 3; ++i) {
    if (!ifds[i].empty()) put(out, at[i], ifds[i].size(), 2);
    for (size_t k = 0; k < ifds[i].size(); ++k) {
      const Entry& e = ifds[i][k];
      const size_t unit = e.type == 3 ? 2 : e.type == 4 || e.type == 5 || e.type >= 9 ? 4 : 1;
      Bytes value(e.values.size() * unit);
      for (size_t v = 0; v < e.values.size(); ++v) put(value, v * unit, e.values[v], unit);
      if (e.type == 2) value.insert(value.end(), e.text.c_str(), e.text.c_str() + e.text.size() + 1);
      const size_t p = at[i] + 2 + 12 * k;
      put(out, p, e.tag, 2);
      put(out, p + 2, e.type, 2);
      put(out, p + 4, e.type == 5 || e.type == 10 ? e.values.size() / 2 : value.size() / unit, 4);
      if (value.size() <= 4) {
        std::copy(value.begin(), value.end(), out.begin() + static_cast<long>(p + 8));
      } else {
        put(out, p + 8, out.size(), 4);
        out.insert(out.end(), value.begin(), value.end());
      }
    }
  }
  return out;
}

Bytes exifSegment(const Bytes& tiff) {
  Bytes payload = {'E', 'x', 'i', 'f', 0, 0};
  payload.insert(payload.end(), tiff.begin(), tiff.end());
  return app1(payload);
}

Bytes app1(const Bytes& payload, int lengthField) {
  const size_t length = lengthField >= 0 ? static_cast<size_t>(lengthField) : payload.size() + 2;
  Bytes out = {0xFF, 0xE1, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

Bytes jpegAround(const Bytes& segment) { return spliceAfterSoi({0xFF, 0xD8, 0xFF, 0xD9}, segment); }

Bytes spliceAfterSoi(const Bytes& jpeg, const Bytes& segment) {
  Bytes out = jpeg;
  out.insert(out.begin() + 2, segment.begin(), segment.end());
  return out;
}

}  // namespace nox::test::exif
