#pragma once
// GraphicsMagick needs one initialisation per process before any image is made. The library
// does it as it is loaded, so a program that links it may make Magick images at any time and
// needs no call of its own; entry points call this too, which then does nothing.

namespace nox::import {

// Initialises GraphicsMagick once; later calls, from any thread, do nothing.
void EnsureMagickInitialized();

}  // namespace nox::import
