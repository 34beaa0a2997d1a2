#pragma once
// Typed geometry edits on an image's storage. They trust the image: no sizes are checked
// beyond keeping every access inside `pixels`. None of them changes `format`. Instantiated
// for the twelve pixel types of image/image/PixelTypes.h.

#include "image/edit/Direction.h"
#include "image/edit/Rotation.h"
#include "image/image/ImageData.h"

namespace nox::image::edit {

// Bilinear scaling to width x height in doubles, sampling at x / width (not at pixel
// centres) with truncating pixel arithmetic; an area of constant 255 becomes 254 where the
// weights are fractional. Both are wanted. Builds a new vector and assigns it last, so a
// failed allocation (std::bad_alloc, std::length_error) leaves `image` unchanged.
template <class P>
void resize(unsigned width, unsigned height, ImageData<P>& image);

// Mirrors in place. Values other than Horizontal and Vertical do nothing.
template <class P>
void flip(Direction direction, ImageData<P>& image);

// Turns clockwise in place; values other than Clockwise180 and Clockwise270 act as
// Clockwise90. Needs no second pixel buffer.
template <class P>
void rotate(Rotation rotation, ImageData<P>& image);

// Transposes in place by following cycles, with one bit of extra memory per pixel, and
// exchanges width and height.
template <class P>
void transpose(ImageData<P>& image);

}  // namespace nox::image::edit
