#pragma once
// GraphicsMagick needs one initialisation per process before any image is made. The
// library has no start-up step, so every place that first touches Magick calls this.

namespace nox::import {

// Initialises GraphicsMagick once; later calls, from any thread, do nothing.
void EnsureMagickInitialized();

}  // namespace nox::import
