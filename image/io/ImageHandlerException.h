#pragma once
// The one exception type of the format handlers: a message for the user and a numeric code
// for whoever inspects it.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace nox::image::io {

// Codes carried by ImageHandlerException. Nothing in the library branches on them.
enum EImageHandlerError : int32_t {
  kNoHandler = 0,          // no handler takes the input
  kFileUnreadable = 1,     // the input file could not be read
  kInputOutput = 2,        // reading or writing failed
  kCannotServe = 3,        // the data or the request cannot be served
  kUnsupported = 4,        // pixel layout or file type not supported
  kInvalidSize = 5,        // impossible dimensions
  kOutputTooSmall = 6,     // the caller's buffer is too small, or the encoder ran out of memory
};

// The message of an output buffer that is too small, spelled as users of the library know it.
constexpr const char* kInsufficientMemoryMessage = "Insuffient memory allocated to write to memory";

// Thrown by every handler operation that fails; what() gives the message. Copyable.
class ImageHandlerException : public std::runtime_error {
 public:
  ImageHandlerException(int32_t code, const std::string& message)
      : std::runtime_error(message), code_(code) {}

  int32_t code() const { return code_; }

 private:
  int32_t code_;
};

}  // namespace nox::image::io
