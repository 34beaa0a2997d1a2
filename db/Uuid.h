#pragma once
// File and folder identifiers of the media database.

#include <cstdint>
#include <string>

// The 16-byte identifier as the database's interfaces pass it.
struct _GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(_GUID) == 16, "_GUID must be 16 bytes");

// A value identifier, usable wherever a _GUID is taken. The default is the null identifier
// (all zero bytes).
class CUUID : public _GUID {
 public:
  CUUID();
  CUUID(const _GUID& guid);  // NOLINT: identifiers convert freely, as the interfaces expect.

  bool IsNull() const;
  operator const _GUID*() const { return this; }
  const _GUID& Guid() const { return *this; }

  // A fresh random (version 4) identifier.
  static CUUID Generate();

  // The 16 bytes in storage order, and back. FromBytes needs exactly 16 bytes.
  std::string Bytes() const;
  static CUUID FromBytes(const void* bytes);

  // Canonical text form, 8-4-4-4-12 lower-case hex digits.
  std::string ToString() const;
  // Parses the canonical form (upper or lower case, braces allowed); false leaves *out alone.
  static bool Parse(const std::string& text, CUUID* out);

  friend bool operator==(const CUUID& a, const CUUID& b);
  friend bool operator!=(const CUUID& a, const CUUID& b) { return !(a == b); }
};
static_assert(sizeof(CUUID) == 16, "CUUID must be 16 bytes");
