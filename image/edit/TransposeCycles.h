#pragma once
// The in-place transpose walk shared by the typed and the raw edits.

#include <cstdint>
#include <vector>

namespace nox::image::edit::detail {

// Calls swap(next, i) for every step of the cycles that carry a row-major grid of n cells,
// `height` rows high, to its transpose; the cell at i holds the carried value. One bit per
// cell marks the cells already placed. A grid of fewer than two cells needs no step (an
// empty grid would otherwise never end the walk).
template <class Swap>
void transposeCycles(uint64_t n, uint64_t height, Swap&& swap) {
  if (n < 2) return;
  const uint64_t last = n - 1;
  std::vector<bool> placed(n);
  for (uint64_t i = 1; i < n; ++i) {
    if (placed[i]) continue;
    uint64_t j = i;
    uint64_t next;
    do {
      next = j == last ? last : (j * height) % last;
      swap(next, i);
      placed[next] = true;
      j = next;
    } while (next != i);
  }
}

}  // namespace nox::image::edit::detail
