#pragma once
// The fixed table by which the importers catch GraphicsMagick exceptions: which class is
// tried in which order, and the code and message each one leaves as the last error.

namespace Magick {
class Exception;
}  // namespace Magick

namespace nox::import {

struct MagickClause {
  int order;           // position in the table, from 1
  int code;            // the code stored as the importer's last error
  const char* format;  // the message, with one %s for the exception's text
};

// Clauses whose catch lets a read count as done.
constexpr int kClauseWarningCorruptImage = 1;
constexpr int kClauseWarning = 12;

// The first clause of the table that catches `e`, as a list of catch clauses in table
// order would. Every Magick exception finds one; the last catches Magick::Exception.
const MagickClause& FindMagickClause(const Magick::Exception& e);

}  // namespace nox::import
