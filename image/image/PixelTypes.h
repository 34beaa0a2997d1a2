#pragma once
// The twelve pixel types that images are made of, by the format words they carry.

#include "image/image/PixelT.h"

namespace nox::image {

using PixelRGBA16F = PixelT<half, 4>;                 // FormatRGBA16F
using PixelRGB32F = PixelT<float, 3>;                 // FormatRGB32F
using PixelL8 = PixelT<unsigned char, 1>;             // FormatL8
using PixelLA8 = PixelT<unsigned char, 2>;            // FormatLA8
using PixelRGB8 = PixelT<unsigned char, 3>;           // FormatRGB8
using PixelRGBA8 = PixelT<unsigned char, 4>;          // FormatRGBA8
using PixelL16 = PixelT<unsigned short, 1>;           // FormatL16
using PixelLA16 = PixelT<unsigned short, 2>;          // FormatLA16
using PixelRGB16 = PixelT<unsigned short, 3>;         // FormatRGB16
using PixelRGBA16 = PixelT<unsigned short, 4>;        // FormatRGBA16
using PixelDXT1 = PixelT<unsigned long long, 1>;      // FormatDXT1: one 4x4 block
using PixelDXT3DXT5 = PixelT<unsigned long long, 2>;  // FormatDXT3, FormatDXT5: one 4x4 block

// Expands X(P) once for each pixel type; used for the explicit instantiations.
#define NOX_IMAGE_FOR_EACH_PIXEL(X)                                                            \
  X(::nox::image::PixelRGBA16F) X(::nox::image::PixelRGB32F) X(::nox::image::PixelL8)          \
  X(::nox::image::PixelLA8) X(::nox::image::PixelRGB8) X(::nox::image::PixelRGBA8)             \
  X(::nox::image::PixelL16) X(::nox::image::PixelLA16) X(::nox::image::PixelRGB16)             \
  X(::nox::image::PixelRGBA16) X(::nox::image::PixelDXT1) X(::nox::image::PixelDXT3DXT5)

}  // namespace nox::image
