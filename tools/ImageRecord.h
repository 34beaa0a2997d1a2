#pragma once
// Reading back what the image importer stored: the data record's size, layout and
// compression, its pixels, and the levels of a compressed chain.

#include <cstdint>
#include <string>
#include <vector>

#include "import/db/Database.h"

namespace nox::tools {

// The parts of an image record (the data unit, or "Original") that the tools show.
struct ImageRecord {
  tagSIZE size;             // of the stored pixels
  unsigned int format = 0;  // their GL layout number
  std::string pixels;       // empty when the record keeps none
  int compression = 0;      // 0 uncompressed, else the mode stored (1 DXT1, 3 DXT5, ...)
  std::string blocks;       // level 0's blocks when they are kept in the record itself
};

// One compressed level from its unit.
struct Level {
  tagSIZE size;
  std::string blocks;
};

// Reads the record in `unit` of the open file; false when the unit is missing or damaged.
bool ReadImageRecord(CNDBFile& file, const char* unit, ImageRecord* record);
// The levels "MMLevel.00", "MMLevel.01"... of the open file, in order; empty when it has none.
std::vector<Level> ReadLevels(CNDBFile& file);
// The name of a GL layout number, e.g. "GL_RGB"; "unknown" for others.
const char* LayoutName(unsigned int format);
// The name of a stored compression mode: "none", "DXT1", "DXT5", "mode N" for others.
std::string CompressionName(int compression);

}  // namespace nox::tools
