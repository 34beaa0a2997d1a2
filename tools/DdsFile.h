#pragma once
// A .dds file of DXT1 or DXT5 levels, the form in which image viewers and engines open a
// compressed chain.

#include <string>
#include <vector>

#include "tools/ImageRecord.h"

namespace nox::tools {

// The file bytes for `levels` (largest first; blocks stored bottom row first, as the
// database keeps them), with the rows turned top first as the format wants. `dxt1` chooses
// DXT1 blocks (8 bytes) over DXT5 (16).
std::string DdsFile(const std::vector<Level>& levels, bool dxt1);

}  // namespace nox::tools
