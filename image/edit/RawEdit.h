#pragma once
// Geometry edits on a bare pixel buffer described by a format word, with a bounds check on
// every element. Each works on a copy of formatImageSize(width, height, format) bytes and
// writes it back only when it succeeded; the caller must pass a buffer of that true size.
// An element out of range raises std::runtime_error("data overflow").
//
// The component type E is read off the word: bit 11 clear takes unsigned char (bit 8
// clear) or unsigned short (bit 8 set); bit 11 set takes float (bit 8 clear) or half.

#include "image/edit/Direction.h"
#include "image/edit/Rotation.h"
#include "image/image/ImageFormat.h"

#include <vector>

namespace nox::image::edit {

// Mirrors each row. Unlike the others it tests bit 8 only when bit 11 is set: a 16-bit
// integer word is treated as bytes, so only the first half of the buffer is mirrored, taken
// as `height` rows of width * channels bytes. Kept so on purpose.
void flipRawHorizontal(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format);

// Reverses the order of the rows.
void flipRawVertical(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format);

// Turns clockwise; width and height exchange for the quarter turns, which the caller knows.
// A value other than the three rotations leaves the buffer as it was.
void rotateRaw(unsigned char* pixels, unsigned width, unsigned height, ImageFormat format, Rotation rotation);

// The building blocks, over elements of type E in `buffer` (unsigned char, unsigned short,
// float, half). Element indices and byte offsets are computed in 32 bits.

// Swaps the x-th channel group from the left with the x-th from the right in each row.
template <class E>
void mirrorRows(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels);

// Swaps row y with row height - 1 - y.
template <class E>
void reverseRows(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels);

// Transposes width x height groups of `channels` elements in place.
template <class E>
void transposeBuffer(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels);

// The turn of rotateRaw for one element type.
template <class E>
void rotateBuffer(std::vector<unsigned char>& buffer, unsigned width, unsigned height, unsigned channels,
                  Rotation rotation);

// Address of element `index`; raises "data overflow" unless the whole element lies inside.
template <class E>
E* elementAt(std::vector<unsigned char>& buffer, unsigned index);

}  // namespace nox::image::edit
