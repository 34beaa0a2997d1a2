// The EXIF parser on blocks built byte by byte.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "image/io/exif/ExifParser.h"
#include "image/io/exif/ExifParserException.h"
#include "tests/support/MediaExif.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::exif;

template <class T>
std::string text(const T& value) {
  std::ostringstream out;
  out.precision(12);
  if constexpr (std::is_arithmetic_v<T> && !std::is_same_v<T, char>) {
    out << +value;
  } else {
    out << value;
  }
  return out.str();
}

#define FIELD(f) {#f, text(f)}

// The fields of `info` that differ from a fresh record's, as "name=value " words: a whole
// record in one comparison.
std::string changedFields(const ExifInfo& info) {
  const auto fields = [](const ExifInfo& i) {
    const auto& g = i.GeoLocation;
    const auto& l = i.LensInfo;
    return std::vector<std::pair<std::string, std::string>>{
        FIELD(i.LittleEndian), FIELD(i.ImageDescription), FIELD(i.Make), FIELD(i.Model), FIELD(i.Orientation),
        FIELD(i.BitsPerSample), FIELD(i.Software), FIELD(i.DateTime), FIELD(i.DateTimeOriginal),
        FIELD(i.DateTimeDigitized), FIELD(i.SubSecTimeOriginal), FIELD(i.Copyright), FIELD(i.ExposureTime),
        FIELD(i.FNumber), FIELD(i.ExposureProgram), FIELD(i.ISOSpeedRatings), FIELD(i.ShutterSpeedValue),
        FIELD(i.ExposureBiasValue), FIELD(i.SubjectDistance), FIELD(i.FocalLength), FIELD(i.FocalLengthIn35mm),
        FIELD(i.FlashFired), FIELD(i.FlashReturned), FIELD(i.FlashMode), FIELD(i.MeteringMode), FIELD(i.ImageWidth),
        FIELD(i.ImageHeight), FIELD(g.Latitude), FIELD(g.Longitude), FIELD(g.Altitude), FIELD(g.AltitudeRef),
        FIELD(g.DOP), FIELD(g.LatComponents.degrees), FIELD(g.LatComponents.minutes), FIELD(g.LatComponents.seconds),
        FIELD(g.LatComponents.direction), FIELD(g.LonComponents.degrees), FIELD(g.LonComponents.minutes),
        FIELD(g.LonComponents.seconds), FIELD(g.LonComponents.direction), FIELD(l.FStopMin), FIELD(l.FStopMax),
        FIELD(l.FocalLengthMin), FIELD(l.FocalLengthMax), FIELD(l.FocalPlaneXResolution),
        FIELD(l.FocalPlaneYResolution), FIELD(l.FocalPlaneResolutionUnit), FIELD(l.Make), FIELD(l.Model)};
  };
  const auto fresh = fields(ExifInfo{});
  const auto read = fields(info);
  std::string out;
  for (size_t k = 0; k < read.size(); ++k) {
    if (read[k] != fresh[k]) out += read[k].first.substr(2) + "=" + read[k].second + " ";
  }
  return out;
}

// The changed fields of what `jpeg` parses to, or the refusal.
std::string parsed(const Bytes& jpeg) {
  ExifParser parser;
  try {
    parser.parse(jpeg.data(), static_cast<uint32_t>(jpeg.size()));
  } catch (const ExifParserException& e) {
    return e.what();
  }
  return parser.parsed() ? changedFields(parser.info()) : "not marked parsed";
}

Bytes jpeg(bool littleEndian, const std::vector<Entry>& entries) {
  return jpegAround(exifSegment(tiff(littleEndian, entries)));
}

// Every field the parser knows. "Nox" has four bytes with its zero: it stands in the data field.
const std::vector<Entry> kEveryField = {
    {kMain, 270, 2, {}, "A street"}, {kMain, 271, 2, {}, "Nox"}, {kMain, 272, 2, {}, "Camera"}, orientation(6),
    {kMain, 258, 3, {8, 8, 8}}, {kMain, 305, 2, {}, "Tool"}, {kMain, 306, 2, {}, "2024:01:02 03:04:05"},
    {kMain, 33432, 2, {}, "Me"}, {kExif, 36867, 2, {}, "2023:05:06 07:08:09"},
    {kExif, 36868, 2, {}, "2023:05:06 07:08:10"}, {kExif, 37521, 2, {}, "42"}, {kExif, 33434, 5, {1, 250}},
    {kExif, 33437, 5, {28, 10}}, {kExif, 34850, 3, {2}}, {kExif, 34855, 3, {400}}, {kExif, 37377, 5, {8, 1}},
    {kExif, 37380, 5, {1, 3}}, {kExif, 37382, 5, {5, 2}}, {kExif, 37386, 5, {50, 1}}, {kExif, 41989, 3, {75}},
    {kExif, 37385, 3, {0x1D}}, {kExif, 37383, 3, {5}}, {kExif, 40962, 4, {70000}}, {kExif, 40963, 3, {480}},
    {kExif, 42034, 5, {18, 1, 55, 1, 35, 10, 56, 10}}, {kExif, 41486, 5, {3000, 1}}, {kExif, 41487, 5, {2000, 1}},
    {kExif, 41488, 3, {2}}, {kExif, 42035, 2, {}, "Lens"}, {kExif, 42036, 2, {}, "Zoom1"}, {kGps, 1, 2, {}, "S"},
    {kGps, 2, 5, {48, 1, 30, 1, 36, 1}}, {kGps, 3, 2, {}, "W"}, {kGps, 4, 5, {2, 1, 15, 1, 0, 1}},
    {kGps, 5, 1, {1}}, {kGps, 6, 5, {1234, 10}}, {kGps, 11, 5, {3, 2}}};
const std::string kEveryFieldRead =
    "ImageDescription=A street Make=Nox Model=Camera Orientation=6 BitsPerSample=8 Software=Tool "
    "DateTime=2024:01:02 03:04:05 DateTimeOriginal=2023:05:06 07:08:09 DateTimeDigitized=2023:05:06 07:08:10 "
    "SubSecTimeOriginal=42 Copyright=Me ExposureTime=0.004 FNumber=2.8 ExposureProgram=2 ISOSpeedRatings=400 "
    "ShutterSpeedValue=8 ExposureBiasValue=0.333333333333 SubjectDistance=2.5 FocalLength=50 FocalLengthIn35mm=75 "
    "FlashFired=1 FlashReturned=2 FlashMode=3 MeteringMode=5 ImageWidth=70000 ImageHeight=480 Latitude=-48.51 "
    "Longitude=-2.25 Altitude=-123.4 AltitudeRef=1 DOP=1.5 LatComponents.degrees=48 LatComponents.minutes=30 "
    "LatComponents.seconds=36 LatComponents.direction=S LonComponents.degrees=2 LonComponents.minutes=15 "
    "LonComponents.direction=W FStopMin=3.5 FStopMax=5.6 FocalLengthMin=18 FocalLengthMax=55 "
    "FocalPlaneXResolution=3000 FocalPlaneYResolution=2000 FocalPlaneResolutionUnit=2 Make=Lens Model=Zoom1 ";

struct Case {
  const char* name;
  Bytes jpeg;
  std::string result;  // the changed fields, or the refusal
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

// A JPEG of a TIFF header of byte order `order` and `magic` whose IFD 0 stands at `offset`,
// with `after` behind the header.
Bytes rawTiff(const std::string& order, uint8_t magic, uint32_t offset, const Bytes& after) {
  Bytes payload = {'E', 'x', 'i', 'f', 0, 0, uint8_t(order[0]), uint8_t(order[1]), magic, 0};
  for (int i = 0; i < 4; ++i) payload.push_back(static_cast<uint8_t>(offset >> (8 * i)));
  payload.insert(payload.end(), after.begin(), after.end());
  return jpegAround(app1(payload));
}

std::vector<Case> cases() {
  const Bytes valid = jpeg(true, {orientation(3)});
  Bytes trailing = valid;
  trailing.insert(trailing.end(), {1, 2, 3});
  const Bytes xmp = {'h', 't', 't', 'p', ':', '/', '/', 'n', 's', '.', 'a', 'd', 'o', 'b', 'e', '.', 'c', 'o', 'm', 0};
  Bytes exifCountPastEnd = exifSegment(tiff(true, {{kExif, 33434, 5, {1, 2}}}));
  exifCountPastEnd[4 + 6 + 26] = 0xFF;  // behind IFD 0 of one entry, the link
  const std::string notJpeg = "Not a valid JPEG file";
  const std::string corrupt = "EXIF data is corrupt";
  const std::string byteOrder = "Unknown byte alignment";
  const std::string south = "LittleEndian=1 Latitude=-10.5 Altitude=-50 AltitudeRef=1 LatComponents.degrees=10 "
                            "LatComponents.minutes=30 LatComponents.direction=S ";
  return {
      {"EveryFieldIntel", jpeg(true, kEveryField), "LittleEndian=1 " + kEveryFieldRead},
      {"EveryFieldMotorola", jpeg(false, kEveryField), kEveryFieldRead},
      // Wrong types, wrong IFDs, a zero denominator and empty values leave their fields.
      {"FieldsNeedTheirTypeAndIfd",
       jpeg(true, {{kMain, 274, 4, {6}}, {kMain, 33434, 5, {1, 2}}, {kMain, 271, 3, {7}}, {kExif, 272, 2, {}, "Wrong"},
                   {kExif, 33437, 5, {5, 0}}, {kExif, 37386, 10, {50, 1}}, {kExif, 37382, 5, {}}, {kMain, 258, 3, {}},
                   {kGps, 11, 4, {8}}}),
       "LittleEndian=1 "},
      // A reference and its value negate each other in either order; signed rationals are read as
      // unsigned; a longitude of two values is ignored.
      {"GpsReferenceFirst",
       jpeg(true, {{kGps, 1, 2, {}, "S"}, {kGps, 2, 10, {10, 1, 30, 1, 0, 1}}, {kGps, 5, 1, {1}}, {kGps, 6, 5, {50, 1}},
                   {kGps, 3, 2, {}, ""}, {kGps, 4, 5, {1, 1, 2, 1}}}),
       south},
      {"GpsReferenceLast",
       jpeg(true, {{kGps, 2, 10, {10, 1, 30, 1, 0, 1}}, {kGps, 1, 2, {}, "S"}, {kGps, 6, 5, {50, 1}}, {kGps, 5, 1, {1}}}),
       south},
      {"TrailingBytesAfterEndMarker", trailing, "LittleEndian=1 Orientation=3 "},
      // Only the first APP1 segment is read: an XMP one before the EXIF block hides it.
      {"XmpBeforeExif", spliceAfterSoi(valid, app1(xmp)), ""},
      {"NoEndMarker", Bytes(valid.begin(), valid.end() - 2), notJpeg},
      {"NoStartMarker", spliceAfterSoi({0xFF, 0xD7}, Bytes(valid.begin() + 2, valid.end())), notJpeg},
      {"ThreeBytes", {0xFF, 0xD8, 0xD9}, notJpeg},
      {"EndMarkerRightBehindTheStart", {0xFF, 0xD8, 0xFF, 0xD9, 0}, ""},
      {"App1MarkerWithoutItsLength", {0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xD9}, corrupt},
      // The segment, and its last value, end where the file does.
      {"ValueEndsTheFile", spliceAfterSoi({0xFF, 0xD8}, exifSegment(tiff(true, {{kExif, 33434, 5, {1, 0xD9FF0000u}}}))),
       "LittleEndian=1 ExposureTime=2.73420701032e-10 "},
      {"SegmentLengthBelow16", jpegAround(app1(Bytes(30, 0), 15)), corrupt},
      {"SegmentLengthPastEnd", jpegAround(app1(Bytes(30, 0), 200)), corrupt},
      {"UnknownByteOrder", rawTiff("IM", 42, 8, Bytes(6)), byteOrder},
      {"MixedByteOrder", rawTiff("MI", 42, 8, Bytes(6)), byteOrder},
      {"NotTiff", rawTiff("II", 43, 8, Bytes(6)), corrupt},
      {"IfdOffsetPastEnd", rawTiff("II", 42, 5000, Bytes(16)), corrupt},
      {"EmptyIfd", rawTiff("II", 42, 8, Bytes(16)), "LittleEndian=1 "},
      {"IfdCountPastEnd", rawTiff("II", 42, 8, {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), corrupt},
      {"ExifIfdCountPastEnd", jpegAround(exifCountPastEnd), corrupt},
  };
}

class ExifParse : public testing::TestWithParam<Case> {};

TEST_P(ExifParse, GivesTheFieldsOrTheRefusal) { EXPECT_EQ(parsed(GetParam().jpeg), GetParam().result); }

INSTANTIATE_TEST_SUITE_P(Blocks, ExifParse, testing::ValuesIn(cases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ExifParser, OrientationFoldsMirroredValuesToNine) {
  const std::pair<uint16_t, uint16_t> cases[] = {{0, 0}, {1, 1}, {2, 9}, {3, 3}, {4, 9}, {5, 9},
                                                 {6, 6}, {7, 9}, {8, 8}, {9, 9}, {300, 9}};
  for (const auto& [stored, read] : cases) {
    ExifParser parser;
    const Bytes block = jpeg(false, {orientation(stored)});
    parser.parse(block.data(), static_cast<uint32_t>(block.size()));
    EXPECT_EQ(parser.orientation(), read) << stored;
  }
}

TEST(ExifParser, FileEntryReadsTheWholeFile) {
  nox::test::TempDir dir;
  const Bytes block = jpeg(true, {orientation(8)});
  nox::test::WriteFile(dir.File("a.jpg"), std::string(block.begin(), block.end()));
  ExifParser parser;
  parser.parseFile(dir.File("a.jpg"));
  EXPECT_EQ(parser.orientation(), 8);
  EXPECT_THROW(parser.parseFile(dir.File("missing.jpg")), ExifParserException);
}

}  // namespace
