#pragma once
// Tokens of a unit's stream. A value or a block is opened by a token and closed by the
// token 65535 minus it; the engine itself gives no token a meaning except Binary.

namespace TOK {

enum FileToken : unsigned short {
  None = 0,
  // What ReadNextTokenEx and GetNextToken report for a value written by WriteBinary.
  Binary = 5,
};

// The token that closes a value or block opened by `open`.
inline FileToken Closing(FileToken open) { return FileToken(static_cast<unsigned short>(~open)); }

}  // namespace TOK
