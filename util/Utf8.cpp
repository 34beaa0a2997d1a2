#include "util/Utf8.h"

namespace nox::util {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsCodePoint(uint32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

}  // namespace

std::wstring Utf8ToWide(const std::string& text) {
  std::wstring out;
  out.reserve(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    const unsigned char b = p[i];
    size_t len = 0;
    uint32_t c = 0, min = 0;
    if (b < 0x80) { out.push_back(b); ++i; continue; }
    if ((b & 0xE0) == 0xC0) { len = 2; c = b & 0x1F; min = 0x80; }
    else if ((b & 0xF0) == 0xE0) { len = 3; c = b & 0x0F; min = 0x800; }
    else if ((b & 0xF8) == 0xF0) { len = 4; c = b & 0x07; min = 0x10000; }
    bool ok = len != 0 && i + len <= n;
    for (size_t k = 1; ok && k < len; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) ok = false;
      else c = (c << 6) | (p[i + k] & 0x3F);
    }
    if (ok && c >= min && IsCodePoint(c)) {
      out.push_back(static_cast<wchar_t>(c));
      i += len;
    } else {
      out.push_back(kReplacement);
      ++i;
    }
  }
  return out;
}

std::string WideToUtf8(const std::wstring& text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    uint32_t c = static_cast<uint32_t>(wc);
    if (!IsCodePoint(c)) c = kReplacement;
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

std::string NarrowLowBytes(const std::wstring& text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) out.push_back(static_cast<char>(static_cast<uint32_t>(wc) & 0xFF));
  return out;
}

}  // namespace nox::util
