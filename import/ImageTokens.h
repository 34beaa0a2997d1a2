#pragma once
// Small writers shared by the image units: a token, an icon stream, a pixel value.

#include <cstdint>

#include "import/db/Database.h"

namespace nox::import {

inline void Token(CNDBFile& file, unsigned short token) { file << TOK::FileToken(token); }

// An icon unit's whole stream: token 3, the bitmap, its closing token.
inline void WriteIcon(CNDBFile& file, const CNPBM& icon) {
  Token(file, 3);
  file << icon;
  Token(file, 65532);
}

// Token 1427 with the pixel bytes as one binary value.
inline void WritePixels(CNDBFile& file, const void* pixels, uint64_t bytes) {
  Token(file, 1427);
  file.WriteBinary(static_cast<const char*>(pixels), static_cast<int>(bytes));
  Token(file, 64108);
}

}  // namespace nox::import
