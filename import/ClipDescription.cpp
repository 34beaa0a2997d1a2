// ClipDescription: the judging rule, the field table and the number rules of description
// texts.

#include "import/ClipDescription.h"

#include <pugixml.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "util/Utf8.h"

namespace {

// strtoul as on the platform the descriptions come from, whose unsigned long has 32 bits:
// a magnitude beyond that gives the largest value, and a minus sign negates in 32 bits.
uint32_t StrToUL32(const char* text, const char** end, int base) {
  char* stop = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(text, &stop, base);
  const bool overflow = errno == ERANGE;
  *end = stop;
  const char* sign = text;
  while (std::isspace(static_cast<unsigned char>(*sign))) ++sign;
  const bool negative = stop != text && *sign == '-';
  const unsigned long long magnitude = negative ? 0 - value : value;
  if (overflow || magnitude > UINT32_MAX) return UINT32_MAX;
  return static_cast<uint32_t>(negative ? 0 - magnitude : magnitude);
}

}  // namespace

bool ClipDescription::IsComplete() const {
  const bool details = Has(IgnoreDetails);
  return !clipName.empty() && (!clipPath.empty() || (Has(ProxyOnly) && !proxyPath.empty())) &&
         (!thumbnailPath.empty() || Has(NoIcon)) && (duration != 0 || details) &&
         ((width != 0 && height != 0) || details);
}

namespace nox::import {

int ClipFieldNumber(const char* name) {
  static const std::map<std::string, int> table = {
      {"clip", kFieldClip},
      {"clipname", kFieldClipName},
      {"thumbnail", kFieldThumbnail},
      {"render_source", kFieldRenderSource},
      {"additional_meta_data", kFieldAdditionalMetaData},
      {"start_tc", kFieldStartTc},
      {"duration", kFieldDuration},
      {"container", kFieldContainer},
      {"codec", kFieldCodec},
      {"codec_id", kFieldCodecId},
      {"audio", kFieldAudio},
      {"audio_id", kFieldAudioId},
      {"aspect", kFieldAspect},
      {"width", kFieldWidth},
      {"height", kFieldHeight},
      {"proxyclip", kFieldProxyClip},
  };
  const auto found = table.find(name);
  return found == table.end() ? -1 : found->second;
}

unsigned long long ParseTimeCode(const char* text) {
  std::vector<uint32_t> numbers;
  for (const char* at = text; *at != '\0';) {
    const char* end = at;
    numbers.push_back(StrToUL32(at, &end, 10));
    // One separator follows each number; a character that starts no number is passed too.
    at = *end != '\0' ? end + 1 : end;
  }
  if (numbers.empty()) return 0;
  unsigned long long result = numbers.back();
  unsigned long long multiplier = 1000;
  for (auto number = numbers.rbegin() + 1; number != numbers.rend(); ++number) {
    result += *number * multiplier;
    multiplier *= 60;
  }
  return result;
}

unsigned short ParseMode(const char* text) {
  if (std::isdigit(static_cast<unsigned char>(text[0]))) {
    const int base = text[0] == '0' && std::toupper(static_cast<unsigned char>(text[1])) == 'X'
                         ? 16
                         : 10;
    const char* end = text;
    return static_cast<unsigned short>(StrToUL32(text, &end, base) & 0xFFFF);
  }
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  unsigned short mode = 0;
  const struct {
    const char* keyword;
    ClipDescription::Mode flag;
  } keywords[] = {{"proxy_only", ClipDescription::ProxyOnly},
                  {"ignore_details", ClipDescription::IgnoreDetails},
                  {"no_icon", ClipDescription::NoIcon}};
  for (const auto& k : keywords) {
    if (std::strstr(lower.c_str(), k.keyword) != nullptr) mode |= k.flag;
  }
  return mode;
}

ClipSource CheckClipSource(const char* path) {
  struct stat st;
  if (path == nullptr || *path == '\0' || ::stat(path, &st) != 0) return ClipSource::kMissing;
  if (S_ISDIR(st.st_mode)) return ClipSource::kDirectory;
  if (!S_ISREG(st.st_mode)) return ClipSource::kNotAFile;
  if (::access(path, R_OK) != 0) return ClipSource::kUnreadable;
  return ClipSource::kReadable;
}

const char* ClipSourceText(ClipSource source) {
  switch (source) {
    case ClipSource::kReadable: return "readable";
    case ClipSource::kMissing: return "no such file";
    case ClipSource::kDirectory: return "a folder";
    case ClipSource::kNotAFile: return "not a regular file";
    default: return "not readable";
  }
}

bool LoadClipDocument(const char* path, pugi::xml_document& document, ClipSource* source) {
  // The file is opened through its wide name, as every file of the library is; the check
  // looks at the same name on disk.
  const std::wstring wide = nox::util::Utf8ToWide(path != nullptr ? path : "");
  const ClipSource found = CheckClipSource(nox::util::WideToUtf8(wide).c_str());
  if (source != nullptr) *source = found;
  if (found != ClipSource::kReadable) return false;
  return document.load_file(wide.c_str(), pugi::parse_default, pugi::encoding_auto).status == pugi::status_ok;
}

int ParseInt(const char* text) {
  const long long value = std::strtoll(text, nullptr, 10);
  return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

}  // namespace nox::import
