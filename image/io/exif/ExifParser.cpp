#include "image/io/exif/ExifParser.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "image/io/exif/ExifParserException.h"

namespace nox::image::io {
namespace {

// Tags, by the IFD they are read from.
enum : uint16_t {
  kTagBitsPerSample = 258,
  kTagImageDescription = 270,
  kTagMake = 271,
  kTagModel = 272,
  kTagOrientation = 274,
  kTagSoftware = 305,
  kTagDateTime = 306,
  kTagCopyright = 33432,
  kTagExifOffset = 34665,
  kTagGpsOffset = 34853,

  kTagExposureTime = 33434,
  kTagFNumber = 33437,
  kTagExposureProgram = 34850,
  kTagISOSpeedRatings = 34855,
  kTagDateTimeOriginal = 36867,
  kTagDateTimeDigitized = 36868,
  kTagShutterSpeedValue = 37377,
  kTagExposureBiasValue = 37380,
  kTagSubjectDistance = 37382,
  kTagMeteringMode = 37383,
  kTagFlash = 37385,
  kTagFocalLength = 37386,
  kTagSubSecTimeOriginal = 37521,
  kTagImageWidth = 40962,
  kTagImageHeight = 40963,
  kTagFocalPlaneXResolution = 41486,
  kTagFocalPlaneYResolution = 41487,
  kTagFocalPlaneResolutionUnit = 41488,
  kTagFocalLengthIn35mm = 41989,
  kTagLensSpecification = 42034,
  kTagLensMake = 42035,
  kTagLensModel = 42036,

  kTagGpsLatitudeRef = 1,
  kTagGpsLatitude = 2,
  kTagGpsLongitudeRef = 3,
  kTagGpsLongitude = 4,
  kTagGpsAltitudeRef = 5,
  kTagGpsAltitude = 6,
  kTagGpsDOP = 11,

  kTagSkipped = 255,
};

enum : uint16_t {
  kFormatByte = 1,
  kFormatAscii = 2,
  kFormatShort = 3,
  kFormatLong = 4,
  kFormatRational = 5,
  kFormatUndefined = 7,
  kFormatSignedLong = 9,
  kFormatSignedRational = 10,
};

constexpr uint64_t kEntrySize = 12;
// Offsets in the TIFF data count from its header, which stands 6 bytes into the segment,
// behind "Exif\0\0".
constexpr uint64_t kTiffStart = 6;

using Rational = std::pair<uint32_t, uint32_t>;

double toDouble(const Rational& r) {
  // A denominator of 0 gives 0 instead of a division by zero.
  if (static_cast<double>(r.second) < 1e-20) return 0.0;
  return static_cast<double>(r.first) / static_cast<double>(r.second);
}

// The segment with its byte order. Callers check bounds before reading.
class Segment {
 public:
  Segment(const uint8_t* data, uint64_t length) : data_(data), length_(length) {}

  uint64_t length() const { return length_; }
  bool holds(uint64_t position, uint64_t size) const { return position <= length_ && size <= length_ - position; }
  uint8_t byte(uint64_t at) const { return data_[at]; }
  const uint8_t* at(uint64_t position) const { return data_ + position; }

  void setLittleEndian(bool little) { little_ = little; }
  uint16_t u16(uint64_t at) const {
    const uint8_t* p = data_ + at;
    return static_cast<uint16_t>(little_ ? p[0] | p[1] << 8 : p[0] << 8 | p[1]);
  }
  uint32_t u32(uint64_t at) const {
    const uint8_t* p = data_ + at;
    return little_ ? uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24
                   : uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
  }
  Rational rational(uint64_t at) const { return {u32(at), u32(at + 4)}; }

 private:
  const uint8_t* data_;
  uint64_t length_;
  bool little_ = false;
};

// One entry of IFD 0 or the EXIF IFD with its value. An entry that cannot be read, has an
// unknown format or a value outside the segment gets the tag kTagSkipped.
struct IfdEntry {
  uint16_t tag = kTagSkipped;
  uint16_t format = kTagSkipped;
  uint32_t length = 0;
  uint32_t data = 0;
  std::vector<uint8_t> bytes;
  std::string text;
  std::vector<uint16_t> shorts;
  std::vector<uint32_t> longs;
  std::vector<Rational> rationals;
};

IfdEntry readEntry(const Segment& segment, uint64_t position) {
  IfdEntry entry;
  if (!segment.holds(position, kEntrySize)) return entry;
  entry.tag = segment.u16(position);
  entry.format = segment.u16(position + 2);
  entry.length = segment.u32(position + 4);
  entry.data = segment.u32(position + 8);

  static constexpr uint64_t kUnitSize[] = {0, 1, 1, 2, 4, 8};
  if (entry.format == kFormatUndefined || entry.format == kFormatSignedLong || entry.format == kFormatSignedRational)
    return entry;
  if (entry.format < kFormatByte || entry.format > kFormatRational) {
    entry.tag = kTagSkipped;
    return entry;
  }
  const uint64_t unit = kUnitSize[entry.format];
  const uint64_t size = uint64_t{entry.length} * unit;
  // Values of up to four bytes stand in the data field itself.
  const uint64_t value = size <= 4 ? position + 8 : uint64_t{entry.data} + kTiffStart;
  if (!segment.holds(value, size)) {
    entry.tag = kTagSkipped;
    return entry;
  }
  switch (entry.format) {
    case kFormatByte:
      entry.bytes.assign(segment.at(value), segment.at(value) + size);
      break;
    case kFormatAscii:
      entry.text.assign(reinterpret_cast<const char*>(segment.at(value)), size);
      if (!entry.text.empty() && entry.text.back() == '\0') entry.text.pop_back();
      break;
    case kFormatShort:
      for (uint64_t i = 0; i < entry.length; ++i) entry.shorts.push_back(segment.u16(value + 2 * i));
      break;
    case kFormatLong:
      for (uint64_t i = 0; i < entry.length; ++i) entry.longs.push_back(segment.u32(value + 4 * i));
      break;
    default:
      for (uint64_t i = 0; i < entry.length; ++i) entry.rationals.push_back(segment.rational(value + 8 * i));
      break;
  }
  return entry;
}

void takeText(const IfdEntry& entry, std::string& field) {
  if (entry.format == kFormatAscii) field = entry.text;
}

template <class T>
void takeShort(const IfdEntry& entry, T& field) {
  if (entry.format == kFormatShort && !entry.shorts.empty()) field = static_cast<T>(entry.shorts[0]);
}

void takeRational(const IfdEntry& entry, double& field, size_t index = 0) {
  if (entry.format == kFormatRational && entry.rationals.size() > index) field = toDouble(entry.rationals[index]);
}

void takeSize(const IfdEntry& entry, uint32_t& field) {
  if (entry.format == kFormatLong && !entry.longs.empty()) field = entry.longs[0];
  takeShort(entry, field);
}

// Where an IFD named by an offset entry stands in the segment.
struct IfdLinks {
  bool hasExif = false;
  uint64_t exif = 0;
  bool hasGps = false;
  uint64_t gps = 0;
};

void takeMainEntry(const IfdEntry& entry, ExifInfo& info, IfdLinks& links) {
  switch (entry.tag) {
    case kTagImageDescription: takeText(entry, info.ImageDescription); break;
    case kTagMake: takeText(entry, info.Make); break;
    case kTagModel: takeText(entry, info.Model); break;
    case kTagOrientation: takeShort(entry, info.Orientation); break;
    case kTagBitsPerSample: takeShort(entry, info.BitsPerSample); break;
    case kTagSoftware: takeText(entry, info.Software); break;
    case kTagDateTime: takeText(entry, info.DateTime); break;
    case kTagCopyright: takeText(entry, info.Copyright); break;
    case kTagExifOffset:
      links.hasExif = true;
      links.exif = uint64_t{entry.data} + kTiffStart;
      break;
    case kTagGpsOffset:
      links.hasGps = true;
      links.gps = uint64_t{entry.data} + kTiffStart;
      break;
    default: break;
  }
}

void takeExifEntry(const IfdEntry& entry, ExifInfo& info) {
  switch (entry.tag) {
    case kTagDateTimeOriginal: takeText(entry, info.DateTimeOriginal); break;
    case kTagDateTimeDigitized: takeText(entry, info.DateTimeDigitized); break;
    case kTagSubSecTimeOriginal: takeText(entry, info.SubSecTimeOriginal); break;
    case kTagExposureTime: takeRational(entry, info.ExposureTime); break;
    case kTagFNumber: takeRational(entry, info.FNumber); break;
    case kTagExposureProgram: takeShort(entry, info.ExposureProgram); break;
    case kTagISOSpeedRatings: takeShort(entry, info.ISOSpeedRatings); break;
    case kTagShutterSpeedValue: takeRational(entry, info.ShutterSpeedValue); break;
    case kTagExposureBiasValue: takeRational(entry, info.ExposureBiasValue); break;
    case kTagSubjectDistance: takeRational(entry, info.SubjectDistance); break;
    case kTagFocalLength: takeRational(entry, info.FocalLength); break;
    case kTagFocalLengthIn35mm: takeShort(entry, info.FocalLengthIn35mm); break;
    case kTagFlash:
      if (entry.format == kFormatShort && !entry.shorts.empty()) {
        const uint16_t flash = entry.shorts[0];
        info.FlashFired = flash & 1;
        info.FlashReturned = (flash >> 1) & 3;
        info.FlashMode = (flash >> 3) & 3;
      }
      break;
    case kTagMeteringMode: takeShort(entry, info.MeteringMode); break;
    case kTagImageWidth: takeSize(entry, info.ImageWidth); break;
    case kTagImageHeight: takeSize(entry, info.ImageHeight); break;
    case kTagLensSpecification:
      // The four values come as focal length minimum and maximum, then f-stop minimum and
      // maximum; as many are taken as the entry holds.
      takeRational(entry, info.LensInfo.FocalLengthMin, 0);
      takeRational(entry, info.LensInfo.FocalLengthMax, 1);
      takeRational(entry, info.LensInfo.FStopMin, 2);
      takeRational(entry, info.LensInfo.FStopMax, 3);
      break;
    case kTagFocalPlaneXResolution: takeRational(entry, info.LensInfo.FocalPlaneXResolution); break;
    case kTagFocalPlaneYResolution: takeRational(entry, info.LensInfo.FocalPlaneYResolution); break;
    case kTagFocalPlaneResolutionUnit: takeShort(entry, info.LensInfo.FocalPlaneResolutionUnit); break;
    case kTagLensMake: takeText(entry, info.LensInfo.Make); break;
    case kTagLensModel: takeText(entry, info.LensInfo.Model); break;
    default: break;
  }
}

bool isRational(uint16_t format) { return format == kFormatRational || format == kFormatSignedRational; }

// Degrees, minutes and seconds as three rationals at `value`; false when they do not fit.
bool readCoordinate(const Segment& segment, uint64_t value, ExifInfo::Coordinate& c, double& decimal) {
  if (!segment.holds(value, 24)) return false;
  c.degrees = toDouble(segment.rational(value));
  c.minutes = toDouble(segment.rational(value + 8));
  c.seconds = toDouble(segment.rational(value + 16));
  decimal = c.degrees + c.minutes * 0.016666666666666666 + c.seconds * 0.0002777777777777778;
  return true;
}

// A reference letter, the first byte of the entry's data field (a zero byte reads as '?');
// `negative` ("S" or "W") negates the value read so far.
void takeReference(const Segment& segment, uint64_t position, char negative, ExifInfo::Coordinate& c,
                   double& decimal) {
  const char letter = static_cast<char>(segment.byte(position + 8));
  c.direction = letter == '\0' ? '?' : letter;
  if (c.direction == negative) decimal = -decimal;
}

// Degrees, minutes and seconds, taken only as three rationals; negated when the reference
// read so far is `negative`.
void takeCoordinate(const Segment& segment, uint16_t format, uint32_t length, uint64_t value, char negative,
                    ExifInfo::Coordinate& c, double& decimal) {
  if (isRational(format) && length == 3 && readCoordinate(segment, value, c, decimal) && c.direction == negative)
    decimal = -decimal;
}

// GPS entries are read from their 12 bytes alone. Each of a reference and its value negates
// the value when the other one has been read already, so their order does not matter.
void takeGpsEntry(const Segment& segment, uint64_t position, ExifInfo::Geolocation& gps) {
  const uint16_t tag = segment.u16(position);
  const uint16_t format = segment.u16(position + 2);
  const uint32_t length = segment.u32(position + 4);
  const uint64_t value = uint64_t{segment.u32(position + 8)} + kTiffStart;
  switch (tag) {
    case kTagGpsLatitudeRef: takeReference(segment, position, 'S', gps.LatComponents, gps.Latitude); break;
    case kTagGpsLatitude:
      takeCoordinate(segment, format, length, value, 'S', gps.LatComponents, gps.Latitude);
      break;
    case kTagGpsLongitudeRef: takeReference(segment, position, 'W', gps.LonComponents, gps.Longitude); break;
    case kTagGpsLongitude:
      takeCoordinate(segment, format, length, value, 'W', gps.LonComponents, gps.Longitude);
      break;
    case kTagGpsAltitudeRef:
      gps.AltitudeRef = segment.byte(position + 8);
      if (gps.AltitudeRef == 1) gps.Altitude = -gps.Altitude;
      break;
    case kTagGpsAltitude:
      if (isRational(format) && segment.holds(value, 8)) {
        gps.Altitude = toDouble(segment.rational(value));
        if (gps.AltitudeRef == 1) gps.Altitude = -gps.Altitude;
      }
      break;
    case kTagGpsDOP:
      if (isRational(format) && segment.holds(value, 8)) gps.DOP = toDouble(segment.rational(value));
      break;
    default: break;
  }
}

// The number of entries of the IFD at `position` when the IFD with its link to the next one
// fits in the segment; -1 otherwise. The caller knows that the count itself fits.
int64_t entryCount(const Segment& segment, uint64_t position) {
  const uint16_t count = segment.u16(position);
  return position + count * kEntrySize + 6 > segment.length() ? -1 : count;
}

}  // namespace

EExifResult parseExifSegment(const uint8_t* data, uint32_t length, ExifInfo& info) {
  static constexpr uint8_t kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};
  if (data == nullptr || length < 6) return kExifNoData;
  if (!std::equal(kExifHeader, kExifHeader + 6, data)) return kExifNoData;
  if (length < 14) return kExifCorrupt;

  Segment segment(data, length);
  if (data[6] == 'I' && data[7] == 'I') {
    info.LittleEndian = true;
  } else if (data[6] == 'M' && data[7] == 'M') {
    info.LittleEndian = false;
  } else {
    return kExifUnknownByteOrder;
  }
  segment.setLittleEndian(info.LittleEndian);
  if (segment.u16(8) != 42) return kExifCorrupt;

  const uint64_t offset = segment.u32(10);
  const uint64_t first = offset + kTiffStart;
  if (first >= length || offset + 8 > length) return kExifCorrupt;
  const int64_t count = entryCount(segment, first);
  if (count < 0) return kExifCorrupt;

  IfdLinks links;
  for (int64_t i = 0; i < count; ++i)
    takeMainEntry(readEntry(segment, first + 2 + i * kEntrySize), info, links);

  if (links.hasExif && links.exif + 4 <= length) {
    const int64_t exifCount = entryCount(segment, links.exif);
    if (exifCount < 0) return kExifCorrupt;
    for (int64_t i = 0; i < exifCount; ++i) takeExifEntry(readEntry(segment, links.exif + 2 + i * kEntrySize), info);
  }
  if (!links.hasGps || links.gps + 4 > length) return kExifParsed;
  const int64_t gpsCount = entryCount(segment, links.gps);
  if (gpsCount < 0) return kExifCorrupt;
  for (int64_t i = 0; i < gpsCount; ++i) takeGpsEntry(segment, links.gps + 2 + i * kEntrySize, info.GeoLocation);
  return kExifParsed;
}

EExifResult parseExifJpeg(const uint8_t* data, uint32_t length, ExifInfo& info) {
  if (data == nullptr || length < 4 || data[0] != 0xFF || data[1] != 0xD8) return kExifNotJpeg;
  // What follows the last end-of-image marker is not part of the picture.
  while (data[length - 2] != 0xFF || data[length - 1] != 0xD9) {
    if (--length < 4) return kExifNotJpeg;
  }
  info = ExifInfo{};

  // A plain byte search: the pair may also stand inside another segment's data.
  uint32_t position = 0;
  while (position + 1 < length && !(data[position] == 0xFF && data[position + 1] == 0xE1)) ++position;
  if (uint64_t{position} + 4 > length) return kExifNoData;
  const uint32_t segmentLength = uint32_t{data[position + 2]} << 8 | data[position + 3];
  if (uint64_t{segmentLength} + position + 2 > length || segmentLength < 16) return kExifCorrupt;
  return parseExifSegment(data + position + 4, length - position - 4, info);
}

ExifParser::ExifParser() : info_(std::make_unique<ExifInfo>()) {}

void ExifParser::parse(const uint8_t* data, uint32_t length) {
  switch (parseExifJpeg(data, length, *info_)) {
    case kExifNotJpeg: throw ExifParserException("Not a valid JPEG file");
    case kExifUnknownByteOrder: throw ExifParserException("Unknown byte alignment");
    case kExifCorrupt: throw ExifParserException("EXIF data is corrupt");
    case kExifParsed:
    case kExifNoData: break;
  }
  parsed_ = true;
}

void ExifParser::parseFile(const std::string& fileName) {
  std::ifstream file(fileName, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.is_open() || file.bad()) throw ExifParserException("File could not be read");
  parse(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

uint16_t ExifParser::orientation() const {
  const uint16_t value = info_->Orientation;
  return value == 0 || value == 1 || value == 3 || value == 6 || value == 8 ? value : 9;
}

}  // namespace nox::image::io
