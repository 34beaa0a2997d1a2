#pragma once
// Radiance RGBE files on stdio streams: the text header, and pixels as four bytes each (red,
// green and blue mantissas and a shared exponent), flat or run-length coded per scanline.
// Every call returns 0 on success and -1 on failure; failed reads and writes are reported on
// standard error by perror ("RGBE read error", "RGBE write error").

#include <cstdint>
#include <cstdio>

namespace nox::image::io {

// Flags of rgbeHeaderInfo::valid.
constexpr int32_t RGBE_VALID_PROGRAMTYPE = 1;
constexpr int32_t RGBE_VALID_GAMMA = 2;
constexpr int32_t RGBE_VALID_EXPOSURE = 4;

// What a header carries besides the size. Every call takes it by pointer; null means none.
struct rgbeHeaderInfo {
  int32_t valid = 0;         // RGBE_VALID_* flags of the fields below that are set
  char programtype[16] = {};  // the text behind "#?" in the first line, zero-terminated
  float gamma = 1.0f;
  float exposure = 1.0f;
};

// Reads the header up to and including the size line "-Y <height> +X <width>". Requires the
// line "FORMAT=32-bit_rle_rgbe" among the header lines and refuses a blank line before them.
// The numbers are returned as read, unchecked.
int rgbe_read_header(std::FILE* stream, int* width, int* height, rgbeHeaderInfo* info);
// Writes "#?<program type or RGBE>", GAMMA and EXPOSURE lines when flagged, the FORMAT line,
// the blank line and the size line.
int rgbe_write_header(std::FILE* stream, int width, int height, const rgbeHeaderInfo* info);

// `count` flat pixels into `count` float triples at `data`.
int rgbe_read_pixels(std::FILE* stream, float* data, int64_t count);
// A width x height picture into width x height float triples at `data`: run-length coded
// scanlines, or flat pixels for widths outside 8 to 32767 and from the first scanline that
// does not start with a run-length marker on. Damaged runs fail; they never write beyond
// the scanline.
int rgbe_read_pixels_rle(std::FILE* stream, float* data, int width, int height);

// The fewest bytes of pixel data that can hold a width x height picture: every scanline
// run-length coded with the longest runs (flat pixels for widths outside 8 to 32767).
uint64_t rgbe_min_pixel_bytes(int width, int height);

// `count` float triples as flat pixels.
int rgbe_write_pixels(std::FILE* stream, const float* data, int64_t count);
// A width x height picture as run-length coded scanlines (flat for widths outside 8 to
// 32767).
int rgbe_write_pixels_rle(std::FILE* stream, const float* data, int width, int height);
// `count` bytes of one plane as run and literal packets.
int rgbe_write_bytes_rle(std::FILE* stream, const unsigned char* data, int count);

}  // namespace nox::image::io
