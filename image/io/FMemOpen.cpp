#include "image/io/FMemOpen.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace nox::image::io {

std::FILE* nox_fmemopen(const void* data, int64_t size) {
  if (size < 0 || (size > 0 && data == nullptr)) return nullptr;
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  if (error) return nullptr;
  std::string name = (folder / "nox_fmemopenXXXXXX").string();
  const int fd = mkstemp(name.data());
  if (fd < 0) return nullptr;
  // Unlinked while open: the file lives exactly as long as the stream.
  unlink(name.c_str());
  std::FILE* stream = fdopen(fd, "w+");
  if (stream == nullptr) {
    close(fd);
    return nullptr;
  }
  // A stream that does not hold the whole block would read as a different file.
  if (size > 0 && std::fwrite(data, static_cast<size_t>(size), 1, stream) != 1) {
    std::fclose(stream);
    return nullptr;
  }
  std::rewind(stream);
  return stream;
}

}  // namespace nox::image::io
