// The EXIF parser on blocks built byte by byte.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "image/io/exif/ExifParser.h"
#include "image/io/exif/ExifParserException.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::exif;

ExifParser parseBytes(const Bytes& jpeg) {
  ExifParser parser;
  parser.parse(jpeg.data(), static_cast<uint32_t>(jpeg.size()));
  return parser;
}

// Every field the parser knows, in both byte orders.
class ExifFields : public testing::TestWithParam<bool> {};

TEST_P(ExifFields, EveryKnownFieldIsFilled) {
  ExifBuilder b(GetParam());
  b.main(270, 2, 9, ExifBuilder::ascii("A street"))
      .main(271, 2, 4, ExifBuilder::ascii("Nox"))  // four bytes: in the data field
      .main(272, 2, 7, ExifBuilder::ascii("Camera"))
      .orientation(6)
      .main(258, 3, 3, b.u16({8, 8, 8}))
      .main(305, 2, 5, ExifBuilder::ascii("Tool"))
      .main(306, 2, 20, ExifBuilder::ascii("2024:01:02 03:04:05"))
      .main(33432, 2, 3, ExifBuilder::ascii("Me"))
      .exif(36867, 2, 20, ExifBuilder::ascii("2023:05:06 07:08:09"))
      .exif(36868, 2, 20, ExifBuilder::ascii("2023:05:06 07:08:10"))
      .exif(37521, 2, 3, ExifBuilder::ascii("42"))
      .exif(33434, 5, 1, b.rationals({{1, 250}}))
      .exif(33437, 5, 1, b.rationals({{28, 10}}))
      .exif(34850, 3, 1, b.u16({2}))
      .exif(34855, 3, 1, b.u16({400}))
      .exif(37377, 5, 1, b.rationals({{8, 1}}))
      .exif(37380, 5, 1, b.rationals({{1, 3}}))
      .exif(37382, 5, 1, b.rationals({{5, 2}}))
      .exif(37386, 5, 1, b.rationals({{50, 1}}))
      .exif(41989, 3, 1, b.u16({75}))
      .exif(37385, 3, 1, b.u16({0x19}))
      .exif(37383, 3, 1, b.u16({5}))
      .exif(40962, 4, 1, b.u32({70000}))
      .exif(40963, 3, 1, b.u16({480}))
      .exif(42034, 5, 4, b.rationals({{18, 1}, {55, 1}, {35, 10}, {56, 10}}))
      .exif(41486, 5, 1, b.rationals({{3000, 1}}))
      .exif(41487, 5, 1, b.rationals({{2000, 1}}))
      .exif(41488, 3, 1, b.u16({2}))
      .exif(42035, 2, 5, ExifBuilder::ascii("Lens"))
      .exif(42036, 2, 6, ExifBuilder::ascii("Zoom1"))
      .gps(1, 2, 2, ExifBuilder::ascii("S"))
      .gps(2, 5, 3, b.rationals({{48, 1}, {30, 1}, {36, 1}}))
      .gps(3, 2, 2, ExifBuilder::ascii("W"))
      .gps(4, 5, 3, b.rationals({{2, 1}, {15, 1}, {0, 1}}))
      .gps(5, 1, 1, {1})
      .gps(6, 5, 1, b.rationals({{1234, 10}}))
      .gps(11, 5, 1, b.rationals({{3, 2}}));

  const ExifParser parser = parseBytes(jpegAround(b.segment()));
  ASSERT_TRUE(parser.parsed());
  const ExifInfo& i = parser.info();
  EXPECT_EQ(i.LittleEndian, GetParam());
  EXPECT_EQ(i.ImageDescription, "A street");
  EXPECT_EQ(i.Make, "Nox");
  EXPECT_EQ(i.Model, "Camera");
  EXPECT_EQ(i.Orientation, 6);
  EXPECT_EQ(i.BitsPerSample, 8);
  EXPECT_EQ(i.Software, "Tool");
  EXPECT_EQ(i.DateTime, "2024:01:02 03:04:05");
  EXPECT_EQ(i.Copyright, "Me");
  EXPECT_EQ(i.DateTimeOriginal, "2023:05:06 07:08:09");
  EXPECT_EQ(i.DateTimeDigitized, "2023:05:06 07:08:10");
  EXPECT_EQ(i.SubSecTimeOriginal, "42");
  EXPECT_DOUBLE_EQ(i.ExposureTime, 0.004);
  EXPECT_DOUBLE_EQ(i.FNumber, 2.8);
  EXPECT_EQ(i.ExposureProgram, 2);
  EXPECT_EQ(i.ISOSpeedRatings, 400);
  EXPECT_DOUBLE_EQ(i.ShutterSpeedValue, 8.0);
  EXPECT_DOUBLE_EQ(i.ExposureBiasValue, 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(i.SubjectDistance, 2.5);
  EXPECT_DOUBLE_EQ(i.FocalLength, 50.0);
  EXPECT_EQ(i.FocalLengthIn35mm, 75);
  EXPECT_EQ(i.FlashFired, 1);
  EXPECT_EQ(i.FlashReturned, 0);
  EXPECT_EQ(i.FlashMode, 3);
  EXPECT_EQ(i.MeteringMode, 5);
  EXPECT_EQ(i.ImageWidth, 70000u);
  EXPECT_EQ(i.ImageHeight, 480u);
  EXPECT_DOUBLE_EQ(i.LensInfo.FocalLengthMin, 18.0);
  EXPECT_DOUBLE_EQ(i.LensInfo.FocalLengthMax, 55.0);
  EXPECT_DOUBLE_EQ(i.LensInfo.FStopMin, 3.5);
  EXPECT_DOUBLE_EQ(i.LensInfo.FStopMax, 5.6);
  EXPECT_DOUBLE_EQ(i.LensInfo.FocalPlaneXResolution, 3000.0);
  EXPECT_DOUBLE_EQ(i.LensInfo.FocalPlaneYResolution, 2000.0);
  EXPECT_EQ(i.LensInfo.FocalPlaneResolutionUnit, 2);
  EXPECT_EQ(i.LensInfo.Make, "Lens");
  EXPECT_EQ(i.LensInfo.Model, "Zoom1");
  const auto& g = i.GeoLocation;
  EXPECT_DOUBLE_EQ(g.Latitude, -(48.0 + 30.0 / 60 + 36.0 / 3600));
  EXPECT_DOUBLE_EQ(g.Longitude, -2.25);
  EXPECT_DOUBLE_EQ(g.Altitude, -123.4);
  EXPECT_EQ(g.AltitudeRef, 1);
  EXPECT_DOUBLE_EQ(g.DOP, 1.5);
  EXPECT_EQ(g.LatComponents.direction, 'S');
  EXPECT_DOUBLE_EQ(g.LatComponents.minutes, 30.0);
  EXPECT_EQ(g.LonComponents.direction, 'W');
  EXPECT_EQ(parser.orientation(), 6);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ExifFields, testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Intel" : "Motorola"; });

struct Refusal {
  const char* name;
  Bytes jpeg;
  const char* message;  // empty: parses without an exception
  uint16_t orientation = 0;
};

void PrintTo(const Refusal& c, std::ostream* os) { *os << c.name; }

// A little-endian TIFF header with IFD 0 at `ifdOffset`; at offset 8 stands an IFD of
// `count` entries in 16 bytes.
Bytes tiffWithOffset(uint32_t ifdOffset, uint8_t count = 0) {
  Bytes payload = {'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0};
  for (int i = 0; i < 4; ++i) payload.push_back(static_cast<uint8_t>(ifdOffset >> (8 * i)));
  payload.resize(payload.size() + 16);
  payload[14] = count;
  return jpegAround(app1(payload));
}

Bytes withByteOrder(uint8_t a, uint8_t b, uint8_t magic) {
  Bytes payload = {'E', 'x', 'i', 'f', 0, 0, a, b, magic, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  return jpegAround(app1(payload));
}

Bytes exifIfdCountTooLarge() {
  ExifBuilder b(true);
  b.exif(33434, 5, 1, b.rationals({{1, 2}}));
  Bytes tiff = b.tiff();
  // The EXIF IFD follows IFD 0 (two entries: a link and nothing else) at offset 8 + 18.
  tiff[26] = 0xFF;
  return jpegAround(exifSegment(tiff));
}

std::vector<Refusal> refusals() {
  const Bytes valid = jpegAround(ExifBuilder(true).orientation(3).segment());
  Bytes noEnd = valid;
  noEnd.pop_back();
  noEnd.pop_back();
  Bytes noStart = valid;
  noStart[1] = 0xD7;
  Bytes trailing = valid;
  trailing.insert(trailing.end(), {1, 2, 3});
  const Bytes xmp = {'h', 't', 't', 'p', ':', '/', '/', 'n', 's', '.', 'a', 'd', 'o', 'b', 'e', '.', 'c', 'o', 'm', 0};
  const Bytes shortSegment = jpegAround(app1(Bytes(30, 0), 15));
  return {
      {"Valid", valid, "", 3},
      {"TrailingBytesAfterEndMarker", trailing, "", 3},
      // Only the first APP1 segment is read: an XMP one before the EXIF block hides it.
      {"XmpBeforeExif", spliceAfterSoi(valid, app1(xmp)), ""},
      {"NoEndMarker", noEnd, "Not a valid JPEG file"},
      {"NoStartMarker", noStart, "Not a valid JPEG file"},
      {"ThreeBytes", {0xFF, 0xD8, 0xD9}, "Not a valid JPEG file"},
      {"NoApp1", {0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 1, 2, 0xFF, 0xD9}, ""},
      {"XmpSegment", jpegAround(app1(xmp)), ""},
      {"SegmentLengthBelow16", shortSegment, "EXIF data is corrupt"},
      {"SegmentLengthPastEnd", jpegAround(app1(Bytes(30, 0), 200)), "EXIF data is corrupt"},
      {"UnknownByteOrder", withByteOrder('I', 'M', 42), "Unknown byte alignment"},
      {"MixedByteOrder", withByteOrder('M', 'I', 42), "Unknown byte alignment"},
      {"NotTiff", withByteOrder('I', 'I', 43), "EXIF data is corrupt"},
      {"IfdOffsetPastEnd", tiffWithOffset(5000), "EXIF data is corrupt"},
      {"IfdOffsetHuge", tiffWithOffset(0xFFFFFFF0u), "EXIF data is corrupt"},
      {"EmptyIfd", tiffWithOffset(8), ""},
      {"IfdCountPastEnd", tiffWithOffset(8, 2), "EXIF data is corrupt"},
      {"ExifIfdCountPastEnd", exifIfdCountTooLarge(), "EXIF data is corrupt"},
  };
}

class ExifRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(ExifRefusals, GiveTheirMessage) {
  ExifParser parser;
  std::string message;
  try {
    parser.parse(GetParam().jpeg.data(), static_cast<uint32_t>(GetParam().jpeg.size()));
  } catch (const ExifParserException& e) {
    message = e.what();
  }
  EXPECT_EQ(message, GetParam().message);
  EXPECT_EQ(parser.orientation(), GetParam().orientation);
}

INSTANTIATE_TEST_SUITE_P(Blocks, ExifRefusals, testing::ValuesIn(refusals()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ExifParser, OrientationFoldsMirroredValuesToNine) {
  const std::pair<uint16_t, uint16_t> cases[] = {{0, 0}, {1, 1}, {2, 9}, {3, 3}, {4, 9}, {5, 9},
                                                 {6, 6}, {7, 9}, {8, 8}, {9, 9}, {300, 9}};
  for (const auto& [stored, read] : cases) {
    const ExifParser parser = parseBytes(jpegAround(ExifBuilder(false).orientation(stored).segment()));
    EXPECT_EQ(parser.info().Orientation, stored);
    EXPECT_EQ(parser.orientation(), read) << stored;
  }
}

TEST(ExifParser, FieldsNeedTheirTypeAndTheirIfd) {
  ExifBuilder b(true);
  b.main(274, 4, 1, b.u32({6}))              // orientation as a 32-bit value
      .main(33434, 5, 1, b.rationals({{1, 2}}))  // an EXIF tag in IFD 0
      .main(271, 3, 1, b.u16({7}))               // a string tag with numbers
      .exif(272, 2, 6, ExifBuilder::ascii("Wrong"))  // an IFD 0 tag in the EXIF IFD
      .exif(33437, 5, 1, b.rationals({{5, 0}}))     // denominator 0
      .exif(37386, 10, 1, b.rationals({{50, 1}}))   // signed rational where unsigned is wanted
      .exif(37382, 5, 0, {});                       // no value at all
  const ExifParser parser = parseBytes(jpegAround(b.segment()));
  const ExifInfo& i = parser.info();
  EXPECT_EQ(i.Orientation, 0);
  EXPECT_EQ(parser.orientation(), 0);
  EXPECT_EQ(i.ExposureTime, 0.0);
  EXPECT_EQ(i.Make, "");
  EXPECT_EQ(i.Model, "");
  EXPECT_EQ(i.FNumber, 0.0);
  EXPECT_EQ(i.FocalLength, 0.0);
  EXPECT_EQ(i.SubjectDistance, 0.0);
}

// Reference letters and values negate each other in either order; signed rationals are read
// as unsigned.
TEST(ExifParser, GpsReferencesApplyInEitherOrder) {
  for (bool referenceFirst : {true, false}) {
    ExifBuilder b(true);
    const Bytes latitude = b.rationals({{10, 1}, {30, 1}, {0, 1}});
    const Bytes altitude = b.rationals({{50, 1}});
    if (referenceFirst) {
      b.gps(1, 2, 2, ExifBuilder::ascii("S")).gps(2, 10, 3, latitude).gps(5, 1, 1, {1}).gps(6, 5, 1, altitude);
    } else {
      b.gps(2, 10, 3, latitude).gps(1, 2, 2, ExifBuilder::ascii("S")).gps(6, 5, 1, altitude).gps(5, 1, 1, {1});
    }
    b.gps(3, 2, 2, {0, 0}).gps(4, 5, 2, b.rationals({{1, 1}, {2, 1}}));  // longitude of two values is ignored
    const ExifParser parser = parseBytes(jpegAround(b.segment()));
    const auto& g = parser.info().GeoLocation;
    EXPECT_DOUBLE_EQ(g.Latitude, -10.5) << referenceFirst;
    EXPECT_DOUBLE_EQ(g.Altitude, -50.0) << referenceFirst;
    EXPECT_EQ(g.LonComponents.direction, '?');
    EXPECT_EQ(g.Longitude, 0.0);
  }
}

TEST(ExifParser, FileEntryReadsTheWholeFile) {
  nox::test::TempDir dir;
  nox::test::WriteFile(dir.File("a.jpg"), nox::test::io::toString(jpegAround(ExifBuilder(true).orientation(8).segment())));
  ExifParser parser;
  parser.parseFile(dir.File("a.jpg"));
  EXPECT_EQ(parser.orientation(), 8);
  EXPECT_THROW(parser.parseFile(dir.File("missing.jpg")), ExifParserException);
}

}  // namespace
