#include "import/MagickErrorTable.h"

#include <Magick++.h>

#include <iterator>

namespace nox::import {
namespace {

template <typename T>
bool IsA(const Magick::Exception& e) {
  return dynamic_cast<const T*>(&e) != nullptr;
}

bool AnyMagickException(const Magick::Exception&) { return true; }

struct Row {
  bool (*matches)(const Magick::Exception&);
  MagickClause clause;
};

// Specific classes come before their bases; ErrorMissingDelegate stands among the
// warnings and ErrorResourceLimit after the other errors, as it always has.
const Row kTable[] = {
    {IsA<Magick::WarningCorruptImage>, {1, 1, "Caught WarningCorruptImage: %s\n"}},
    {IsA<Magick::WarningFileOpen>, {2, 2, " Caught WarningFileOpen: %s\n"}},
    {IsA<Magick::ErrorMissingDelegate>, {3, 4, "Caught ErrorMissingDelegate: %s\n"}},
    {IsA<Magick::WarningMissingDelegate>, {4, 4, "Caught WarningMissingDelegate: %s\n"}},
    {IsA<Magick::WarningCache>, {5, 4, "Caught WarningCache: %s\n"}},
    {IsA<Magick::WarningBlob>, {6, 4, "Caught WarningBlob: %s\n"}},
    {IsA<Magick::WarningDelegate>, {7, 4, "Caught WarningDelegate: %s\n"}},
    {IsA<Magick::WarningOption>, {8, 4, "Caught WarningOption: %s\n"}},
    {IsA<Magick::WarningXServer>, {9, 4, "Caught WarningXServer: %s\n"}},
    {IsA<Magick::WarningResourceLimit>, {10, 3, "Caught WarningResourceLimit: %s\n"}},
    {IsA<Magick::WarningUndefined>, {11, 4, "Caught WarningUndefined: %s\n"}},
    {IsA<Magick::Warning>, {12, 4, "Caught Warning: %s\n"}},
    {IsA<Magick::ErrorCorruptImage>, {13, 5, "Caught ErrorCorruptImage: %s\n"}},
    {IsA<Magick::ErrorFileOpen>, {14, 6, "Caught ErrorFileOpen: %s\n"}},
    {IsA<Magick::ErrorBlob>, {15, 8, "Caught ErrorBlob: %s\n"}},
    {IsA<Magick::ErrorCache>, {16, 8, "Caught ErrorCache: %s\n"}},
    {IsA<Magick::ErrorDelegate>, {17, 8, "Caught ErrorDelegate: %s\n"}},
    {IsA<Magick::ErrorOption>, {18, 8, "Caught ErrorOption: %s\n"}},
    {IsA<Magick::ErrorXServer>, {19, 8, "Caught ErrorXServer: %s\n"}},
    {IsA<Magick::ErrorResourceLimit>, {20, 7, "Caught ErrorResourceLimit: %s\n"}},
    {IsA<Magick::ErrorUndefined>, {21, 8, "Caught ErrorUndefined: %s\n"}},
    {IsA<Magick::Error>, {22, 8, "Caught Error: %s\n"}},
    {AnyMagickException, {23, 8, "Caught Exception: %s\n"}},
};

}  // namespace

const MagickClause& FindMagickClause(const Magick::Exception& e) {
  for (const Row& row : kTable) {
    if (row.matches(e)) return row.clause;
  }
  return std::end(kTable)[-1].clause;  // not reached: the last row takes every exception
}

}  // namespace nox::import
