#pragma once
// UTF-8 <-> wide string conversions. wchar_t is 32 bits on Linux: one code point per unit.

#include <string>

namespace nox::util {

// Decodes UTF-8. Every byte that does not start or continue a valid sequence (including
// overlong forms, surrogates and values above U+10FFFF) becomes U+FFFD, one per byte.
std::wstring Utf8ToWide(const std::string& text);

// Encodes code points as UTF-8; a unit that is no valid code point becomes U+FFFD.
std::string WideToUtf8(const std::wstring& text);

// Keeps the low byte of each code unit, as a narrowing step on the original platform did.
// Non-ASCII text is changed by it, on purpose: callers rely on such names failing.
std::string NarrowLowBytes(const std::wstring& text);

}  // namespace nox::util
