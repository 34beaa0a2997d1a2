#pragma once
// One fuzz target per reader of untrusted bytes. A target file says
//   NOX_FUZZ_TARGET(name) { ... hand `data` and `size` to the reader ... }
// Built with NOX_FUZZ_MAIN it is the entry point of a libFuzzer program; otherwise the body
// registers itself with the replay driver under `name`. A reader may refuse its input only
// with its own exception type: anything else escaping is a finding.

#include <cstddef>
#include <cstdint>

namespace nox::fuzz {

using Target = void (*)(const uint8_t* data, size_t size);
bool registerTarget(const char* name, Target target);

// The picture size the targets allow: real files of this size take at most 64 MB to decode,
// which keeps a fuzzer within its memory limit; larger ones are refused by the same check
// that refuses them at the full limit.
constexpr uint64_t kFuzzMaxPixels = uint64_t{1} << 22;

}  // namespace nox::fuzz

#ifdef NOX_FUZZ_MAIN
#define NOX_FUZZ_TARGET(name)                                                \
  static void fuzz_##name(const uint8_t* data, size_t size);                 \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { \
    fuzz_##name(data, size);                                                 \
    return 0;                                                                \
  }                                                                          \
  static void fuzz_##name(const uint8_t* data, size_t size)
#else
#define NOX_FUZZ_TARGET(name)                                                                       \
  static void fuzz_##name(const uint8_t* data, size_t size);                                        \
  [[maybe_unused]] static const bool registered_##name = nox::fuzz::registerTarget(#name, &fuzz_##name); \
  static void fuzz_##name(const uint8_t* data, size_t size)
#endif
