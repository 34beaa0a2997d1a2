#include "db/Uuid.h"

#include <sys/random.h>

#include <cstring>
#include <random>

namespace {

void FillRandom(void* out, size_t n) {
  auto* p = static_cast<unsigned char*>(out);
  size_t got = 0;
  while (got < n) {
    const ssize_t r = getrandom(p + got, n - got, 0);
    if (r <= 0) break;
    got += static_cast<size_t>(r);
  }
  if (got < n) {  // getrandom is unavailable only on very old kernels
    std::random_device rd;
    for (; got < n; ++got) p[got] = static_cast<unsigned char>(rd());
  }
}

// Byte i of the canonical text form, taking the numeric fields as big-endian numbers.
unsigned char CanonicalByte(const _GUID& g, int i) {
  if (i < 4) return static_cast<unsigned char>(g.Data1 >> (8 * (3 - i)));
  if (i < 6) return static_cast<unsigned char>(g.Data2 >> (8 * (5 - i)));
  if (i < 8) return static_cast<unsigned char>(g.Data3 >> (8 * (7 - i)));
  return g.Data4[i - 8];
}

}  // namespace

CUUID::CUUID() : _GUID{} {}

CUUID::CUUID(const _GUID& guid) : _GUID(guid) {}

bool CUUID::IsNull() const {
  static const _GUID zero{};
  return std::memcmp(&Guid(), &zero, sizeof zero) == 0;
}

CUUID CUUID::Generate() {
  CUUID id;
  do {
    _GUID g;
    FillRandom(&g, sizeof g);
    g.Data3 = static_cast<uint16_t>((g.Data3 & 0x0FFF) | 0x4000);
    g.Data4[0] = static_cast<uint8_t>((g.Data4[0] & 0x3F) | 0x80);
    id = CUUID(g);
  } while (id.IsNull());
  return id;
}

std::string CUUID::Bytes() const {
  std::string out(16, '\0');
  for (int i = 0; i < 16; ++i) out[i] = static_cast<char>(CanonicalByte(*this, i));
  return out;
}

CUUID CUUID::FromBytes(const void* bytes) {
  const auto* b = static_cast<const unsigned char*>(bytes);
  _GUID g;
  g.Data1 = (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | b[3];
  g.Data2 = static_cast<uint16_t>((b[4] << 8) | b[5]);
  g.Data3 = static_cast<uint16_t>((b[6] << 8) | b[7]);
  std::memcpy(g.Data4, b + 8, 8);
  return CUUID(g);
}

std::string CUUID::ToString() const {
  static const char* hex = "0123456789abcdef";
  std::string out;
  out.reserve(36);
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
    const unsigned char b = CanonicalByte(*this, i);
    out.push_back(hex[b >> 4]);
    out.push_back(hex[b & 15]);
  }
  return out;
}

bool CUUID::Parse(const std::string& text, CUUID* out) {
  std::string t = text;
  if (t.size() == 38 && t.front() == '{' && t.back() == '}') t = t.substr(1, 36);
  if (t.size() != 36) return false;
  unsigned char bytes[16];
  int n = 0;
  for (size_t i = 0; i < t.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (t[i] != '-') return false;
      ++i;
      continue;
    }
    int v = 0;
    for (int k = 0; k < 2; ++k, ++i) {
      const char c = t[i];
      int d;
      if (c >= '0' && c <= '9') d = c - '0';
      else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
      else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
      else return false;
      v = v * 16 + d;
    }
    bytes[n++] = static_cast<unsigned char>(v);
  }
  *out = FromBytes(bytes);
  return true;
}

bool operator==(const CUUID& a, const CUUID& b) {
  return std::memcmp(&a.Guid(), &b.Guid(), sizeof(_GUID)) == 0;
}
