#include "util/Utf8.h"

#include <gtest/gtest.h>

namespace {

using nox::util::NarrowLowBytes;
using nox::util::Utf8ToWide;
using nox::util::WideToUtf8;

TEST(Utf8, RoundTripsEveryEncodedLength) {
  const std::wstring text = {L'a', 0xE9, 0x20AC, 0x1F600, L'z'};
  const std::string utf8 = WideToUtf8(text);
  EXPECT_EQ(utf8, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
  EXPECT_EQ(Utf8ToWide(utf8), text);
}

TEST(Utf8, InvalidBytesBecomeReplacementCharacters) {
  struct Case { std::string in; std::wstring out; };
  const Case cases[] = {
      {"\xFF", {0xFFFD}},
      {"a\xC3", {L'a', 0xFFFD}},                  // truncated sequence
      {"\xC0\xAF", {0xFFFD, 0xFFFD}},             // overlong '/'
      {"\xED\xA0\x80", {0xFFFD, 0xFFFD, 0xFFFD}},  // surrogate
      {"\xE2\x28\xA1", {0xFFFD, L'(', 0xFFFD}},    // bad continuation
  };
  for (const auto& c : cases) EXPECT_EQ(Utf8ToWide(c.in), c.out) << c.in;
}

TEST(Utf8, NarrowingKeepsTheLowByte) {
  EXPECT_EQ(NarrowLowBytes(L"abc"), "abc");
  EXPECT_EQ(NarrowLowBytes(std::wstring{0x141, L'x'}), std::string("\x41x"));
}

}  // namespace
