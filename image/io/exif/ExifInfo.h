#pragma once
// The fields the EXIF parser knows, as read from IFD 0, the EXIF IFD and the GPS IFD of a
// JPEG's APP1 segment. A field whose tag is missing, or stands with another value type than
// the one it needs, keeps its starting value: empty strings, zeros, and "?" for the two
// reference letters.

#include <cstdint>
#include <string>

namespace nox::image::io {

struct ExifInfo {
  // Degrees, minutes and seconds of one coordinate with its reference letter (N/S or E/W).
  struct Coordinate {
    double degrees = 0.0;
    double minutes = 0.0;
    double seconds = 0.0;
    char direction = '?';
  };

  struct Geolocation {
    double Latitude = 0.0;   // decimal degrees, negative in the south
    double Longitude = 0.0;  // decimal degrees, negative in the west
    double Altitude = 0.0;   // negative below sea level
    uint8_t AltitudeRef = 0;
    double DOP = 0.0;  // dilution of precision
    Coordinate LatComponents;
    Coordinate LonComponents;
  };

  struct Lens {
    double FStopMin = 0.0;
    double FStopMax = 0.0;
    double FocalLengthMin = 0.0;
    double FocalLengthMax = 0.0;
    double FocalPlaneXResolution = 0.0;
    double FocalPlaneYResolution = 0.0;
    uint16_t FocalPlaneResolutionUnit = 0;
    std::string Make;
    std::string Model;
  };

  bool LittleEndian = false;  // the byte order of the TIFF data: "II" true, "MM" false
  std::string ImageDescription;
  std::string Make;
  std::string Model;
  uint16_t Orientation = 0;
  uint16_t BitsPerSample = 0;
  std::string Software;
  std::string DateTime;
  std::string DateTimeOriginal;
  std::string DateTimeDigitized;
  std::string SubSecTimeOriginal;
  std::string Copyright;
  double ExposureTime = 0.0;
  double FNumber = 0.0;
  uint16_t ExposureProgram = 0;
  uint16_t ISOSpeedRatings = 0;
  double ShutterSpeedValue = 0.0;
  double ExposureBiasValue = 0.0;
  double SubjectDistance = 0.0;
  double FocalLength = 0.0;
  uint16_t FocalLengthIn35mm = 0;
  uint8_t FlashFired = 0;      // bit 0 of the flash value
  uint16_t FlashReturned = 0;  // bits 1 and 2
  uint16_t FlashMode = 0;      // bits 3 and 4
  uint16_t MeteringMode = 0;
  uint32_t ImageWidth = 0;
  uint32_t ImageHeight = 0;
  Geolocation GeoLocation;
  Lens LensInfo;
};

}  // namespace nox::image::io
