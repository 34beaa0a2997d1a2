#pragma once
// One fuzz target per reader of untrusted bytes. A target file says
//   NOX_FUZZ_TARGET(name) { ... hand `data` and `size` to the reader ... }
// Built with NOX_FUZZ_MAIN it is the entry point of a libFuzzer program; otherwise the body
// registers itself with the replay driver under `name`. A reader may refuse its input only
// with its own exception type: anything else escaping is a finding.

#include <cstddef>
#include <cstdint>

#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerImpl.h"

namespace nox::fuzz {

using Target = void (*)(const uint8_t* data, size_t size);
bool registerTarget(const char* name, Target target);

// The picture size the targets allow: real files of this size take at most 64 MB to decode,
// which keeps a fuzzer within its memory limit; larger ones are refused by the same check
// that refuses them at the full limit.
constexpr uint64_t kFuzzMaxPixels = uint64_t{1} << 22;

// The block through one format handler's content test and its load at the fuzzing limit.
template <class Handler>
void loadThrough(const uint8_t* data, size_t size) {
  if (size > INT32_MAX) return;
  Handler::canLoadMemory(data, static_cast<int32_t>(size));
  try {
    Handler handler(data, static_cast<int32_t>(size), image::io::kHandlerOptionsDefault);
    handler.setMaxPixels(kFuzzMaxPixels);
    handler.load();
  } catch (const image::io::ImageHandlerException&) {
  }
}

}  // namespace nox::fuzz

#ifdef NOX_FUZZ_MAIN
#define NOX_FUZZ_ENTRY(name) \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { fuzz_##name(data, size); return 0; }
#else
#define NOX_FUZZ_ENTRY(name) \
  [[maybe_unused]] static const bool registered_##name = nox::fuzz::registerTarget(#name, &fuzz_##name);
#endif
#define NOX_FUZZ_TARGET(name)                                \
  static void fuzz_##name(const uint8_t* data, size_t size); \
  NOX_FUZZ_ENTRY(name)                                       \
  static void fuzz_##name(const uint8_t* data, size_t size)
