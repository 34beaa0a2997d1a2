#pragma once
// The seed corpus of each fuzz target, made by our own writers.

#include <string>
#include <utility>
#include <vector>

#include "tests/support/MediaFiles.h"

namespace nox::fuzz {

using Seed = std::pair<std::string, test::io::Bytes>;  // a file name and its bytes

std::vector<Seed> seedsOf(const std::string& target);

}  // namespace nox::fuzz
