#pragma once
// ClipDescription: what a clip description file says about one video clip, and the rules
// that turn the file's texts into its fields.

#include <string>

namespace pugi {
class xml_document;
}

// One clip as its description file tells it. Strings hold the file's text as it stands
// (UTF-8); clipPath, proxyPath and thumbnailPath are already joined to the folder of the
// description. A default-constructed record is the empty record every read starts from.
struct ClipDescription {
  // Flags of `mode`.
  enum Mode : unsigned short {
    ProxyOnly = 1,      // the clip file may be absent when a proxy is named
    IgnoreDetails = 2,  // duration, width and height may be missing
    NoIcon = 4,         // the thumbnail may be absent or unreadable
  };

  unsigned long long startTc = 0;  // milliseconds
  double duration = 0;
  int codecId = 0;
  int extraInt = 0;  // no field sets it; stored as it stands
  int audioId = 0;
  double extraDouble = 0;  // no field sets it; stored as it stands
  double aspect = 0;
  int width = 0;
  int height = 0;
  unsigned short mode = 0;
  bool extraFlag1 = false;  // no field sets it; stored as it stands
  bool extraFlag2 = false;  // no field sets it; stored as it stands
  unsigned short container = 65535;
  std::string clipName;
  std::string codec;
  std::string audio;
  std::string clipPath;
  std::string proxyPath;
  std::string thumbnailPath;
  std::string renderSource;
  std::string additionalMetaData;

  bool Has(Mode flag) const { return (mode & flag) != 0; }

  // Whether the record describes an importable clip: a name, a clip (or, under ProxyOnly,
  // a proxy), a thumbnail unless NoIcon, and a duration and both sides unless
  // IgnoreDetails. Files are not looked at.
  bool IsComplete() const;
};

namespace nox::import {

// Numbers of the named fields of a description. The numbers are fixed; 10, 13, 17 and 18
// belong to fields that have no name and that no file can set.
enum ClipField : int {
  kFieldClip = 0,
  kFieldClipName = 1,
  kFieldThumbnail = 2,
  kFieldRenderSource = 3,
  kFieldAdditionalMetaData = 4,
  kFieldStartTc = 5,
  kFieldDuration = 6,
  kFieldContainer = 7,
  kFieldCodec = 8,
  kFieldCodecId = 9,
  kFieldAudio = 11,
  kFieldAudioId = 12,
  kFieldAspect = 14,
  kFieldWidth = 15,
  kFieldHeight = 16,
  kFieldProxyClip = 19,
};

// The number of the field named exactly `name`, or -1 for a name that is no field. The
// table behind it is process-wide and filled on first use.
int ClipFieldNumber(const char* name);

// A time code as milliseconds: numbers separated by single characters, the last counting
// milliseconds, the one before seconds, then minutes, hours and further factors of 60. A
// character that starts no number counts as a 0. "01:02:03:040" gives 3723040; an empty
// text gives 0.
unsigned long long ParseTimeCode(const char* text);

// The flags of a mode text. A text that starts with a digit is a number (hexadecimal after
// "0x"), of which the low 16 bits are kept; any other text sets each flag whose keyword
// ("proxy_only", "ignore_details", "no_icon") occurs in it, in any case, anywhere.
unsigned short ParseMode(const char* text);

// atoi as descriptions were written for: a number out of the range of a 32-bit int gives
// the nearest end of that range instead of wrapping.
int ParseInt(const char* text);

// What stands at a description path, looked at before any parser opens it: a parser handed
// a folder or a device reads it as a file of nonsense size, or waits on it forever.
enum class ClipSource {
  kReadable = 0,    // a regular file that opens for reading
  kMissing = 1,     // nothing at the path
  kDirectory = 2,   // a folder
  kNotAFile = 3,    // a device, pipe or socket
  kUnreadable = 4,  // a file that does not open for reading
};

ClipSource CheckClipSource(const char* path);

// A short text of the cause for messages: "readable", "no such file", "a folder", "not a
// regular file", "not readable".
const char* ClipSourceText(ClipSource source);

// Loads the description at `path` (UTF-8) into `document` when CheckClipSource finds a
// readable file; true when it loaded as well-formed XML. `source`, when given, receives what
// CheckClipSource found, so that a caller can tell a missing file from a broken one.
bool LoadClipDocument(const char* path, pugi::xml_document& document, ClipSource* source = nullptr);

}  // namespace nox::import
