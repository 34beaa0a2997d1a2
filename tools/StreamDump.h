#pragma once
// Prints a unit's token stream one item a line, nesting opened blocks, and showing plain
// value bytes by their likely meaning (the stream does not store value types).

#include <ostream>
#include <string>

class CNDBFile;

namespace nox::tools {

// Describes plain value bytes: a string, an icon bitmap, numbers, or a hex prefix.
std::string DescribeValue(const std::string& bytes);

// Dumps the current unit of `file` from its start to `out`.
void DumpUnit(CNDBFile& file, std::ostream& out);

}  // namespace nox::tools
