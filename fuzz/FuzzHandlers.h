#pragma once
// Loads a block through one format handler with the fuzzing size limit; the handler's own
// exception is its way of refusing.

#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzTarget.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerImpl.h"

namespace nox::fuzz {

template <class Handler>
void loadThrough(const uint8_t* data, size_t size) {
  if (size > INT32_MAX) return;
  try {
    Handler handler(data, static_cast<int32_t>(size), image::io::kHandlerOptionsDefault);
    handler.setMaxPixels(kFuzzMaxPixels);
    handler.load();
  } catch (const image::io::ImageHandlerException&) {
  }
}

}  // namespace nox::fuzz
