#include "tests/support/MediaExif.h"

#include <algorithm>

namespace nox::test::exif {

ExifBuilder& ExifBuilder::main(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value) {
  main_.push_back({tag, format, count, value});
  return *this;
}

ExifBuilder& ExifBuilder::exif(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value) {
  exif_.push_back({tag, format, count, value});
  return *this;
}

ExifBuilder& ExifBuilder::gps(uint16_t tag, uint16_t format, uint32_t count, const Bytes& value) {
  gps_.push_back({tag, format, count, value});
  return *this;
}

void ExifBuilder::put16(Bytes& out, size_t at, uint16_t v) const {
  out[at + (little_ ? 0 : 1)] = static_cast<uint8_t>(v);
  out[at + (little_ ? 1 : 0)] = static_cast<uint8_t>(v >> 8);
}

void ExifBuilder::put32(Bytes& out, size_t at, uint32_t v) const {
  for (int i = 0; i < 4; ++i) out[at + (little_ ? i : 3 - i)] = static_cast<uint8_t>(v >> (8 * i));
}

Bytes ExifBuilder::u16(std::initializer_list<uint16_t> values) const {
  Bytes out(2 * values.size());
  size_t at = 0;
  for (uint16_t v : values) put16(out, (at++) * 2, v);
  return out;
}

Bytes ExifBuilder::u32(std::initializer_list<uint32_t> values) const {
  Bytes out(4 * values.size());
  size_t at = 0;
  for (uint32_t v : values) put32(out, (at++) * 4, v);
  return out;
}

Bytes ExifBuilder::rationals(std::initializer_list<std::pair<uint32_t, uint32_t>> values) const {
  Bytes out(8 * values.size());
  size_t at = 0;
  for (const auto& [numerator, denominator] : values) {
    put32(out, at, numerator);
    put32(out, at + 4, denominator);
    at += 8;
  }
  return out;
}

Bytes ExifBuilder::ascii(const std::string& text) {
  Bytes out(text.begin(), text.end());
  out.push_back(0);
  return out;
}

Bytes ExifBuilder::tiff() const {
  std::vector<Entry> main = main_;
  // Placeholders for the links; their data fields are set once the layout is known.
  if (!exif_.empty()) main.push_back({34665, 4, 1, Bytes(4)});
  if (!gps_.empty()) main.push_back({34853, 4, 1, Bytes(4)});
  const auto ifdSize = [](const std::vector<Entry>& e) { return e.empty() ? 0 : 2 + 12 * e.size() + 4; };
  const size_t mainAt = 8;
  const size_t exifAt = mainAt + ifdSize(main);
  const size_t gpsAt = exifAt + ifdSize(exif_);
  size_t valueAt = gpsAt + ifdSize(gps_);

  Bytes out(valueAt);
  out[0] = out[1] = little_ ? 'I' : 'M';
  put16(out, 2, 42);
  put32(out, 4, static_cast<uint32_t>(mainAt));
  const auto writeIfd = [&](const std::vector<Entry>& entries, size_t at) {
    if (entries.empty()) return;
    put16(out, at, static_cast<uint16_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
      const Entry& e = entries[i];
      const size_t p = at + 2 + 12 * i;
      put16(out, p, e.tag);
      put16(out, p + 2, e.format);
      put32(out, p + 4, e.count);
      if (e.tag == 34665 && &entries == &main) {
        put32(out, p + 8, static_cast<uint32_t>(exifAt));
      } else if (e.tag == 34853 && &entries == &main) {
        put32(out, p + 8, static_cast<uint32_t>(gpsAt));
      } else if (e.value.size() <= 4) {
        std::copy(e.value.begin(), e.value.end(), out.begin() + static_cast<long>(p + 8));
      } else {
        put32(out, p + 8, static_cast<uint32_t>(valueAt));
        out.insert(out.end(), e.value.begin(), e.value.end());
        valueAt += e.value.size();
      }
    }
  };
  writeIfd(main, mainAt);
  writeIfd(exif_, exifAt);
  writeIfd(gps_, gpsAt);
  return out;
}

Bytes ExifBuilder::segment() const { return exifSegment(tiff()); }

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

Bytes jpegAround(const Bytes& segment) {
  Bytes out = {0xFF, 0xD8};
  out.insert(out.end(), segment.begin(), segment.end());
  out.push_back(0xFF);
  out.push_back(0xD9);
  return out;
}

Bytes spliceAfterSoi(const Bytes& jpeg, const Bytes& segment) {
  Bytes out(jpeg.begin(), jpeg.begin() + 2);
  out.insert(out.end(), segment.begin(), segment.end());
  out.insert(out.end(), jpeg.begin() + 2, jpeg.end());
  return out;
}

}  // namespace nox::test::exif
