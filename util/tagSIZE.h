#pragma once
// A width and a height, shared by the database engine, the importers and the texture code.

#include <cstdint>

struct tagSIZE {
  int32_t cx = 0;  // width
  int32_t cy = 0;  // height
};
