#pragma once
// A stdio stream over a copy of a memory block, for code that reads and writes FILE streams.

#include <cstdint>
#include <cstdio>

namespace nox::image::io {

// Copies `size` bytes at `data` into a new temporary file (named "nox_fmemopen..." in the
// temporary folder and unlinked at once, so that it goes away when the stream is closed) and
// returns the stream, readable and writable, positioned at its start. Nothing written to the
// stream reaches the block. Null when the file cannot be made, the copy cannot be written, or
// the size is negative. The caller closes the stream with fclose.
std::FILE* nox_fmemopen(const void* data, int64_t size);

}  // namespace nox::image::io
