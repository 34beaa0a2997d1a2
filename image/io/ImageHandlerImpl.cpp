#include "image/io/ImageHandlerImpl.h"

#include <filesystem>
#include <fstream>

#include "image/io/ImageHandlerException.h"

namespace nox::image::io {
namespace {

[[noreturn]] void throwUnreadable(const std::string& fileName) {
  throw ImageHandlerException(kFileUnreadable, "File '" + fileName + "' could not be read");
}

}  // namespace

ImageHandlerImpl::ImageHandlerImpl(const std::string& fileName, uint16_t options) : options_(options) {
  std::ifstream file(fileName, std::ios::binary | std::ios::ate);
  // A folder opens as a stream on Linux and reports a meaningless size; it is not a file.
  std::error_code ignored;
  if (!file.is_open() || std::filesystem::is_directory(fileName, ignored)) throwUnreadable(fileName);
  const std::streamoff size = file.tellg();
  if (size < 0) throwUnreadable(fileName);
  file.seekg(0);
  bytes_.resize(static_cast<size_t>(size));
  file.read(reinterpret_cast<char*>(bytes_.data()), size);
  if (file.fail() || file.bad()) throwUnreadable(fileName);
}

ImageHandlerImpl::ImageHandlerImpl(const void* data, int32_t size, uint16_t options) : options_(options) {
  if (data != nullptr && size > 0) {
    const auto* begin = static_cast<const uint8_t*>(data);
    bytes_.assign(begin, begin + size);
  }
}

void ImageHandlerImpl::checkDeclaredSize(int64_t width, int64_t height, uint64_t minimumBytes,
                                         uint64_t available) const {
  // Each side alone first, so that the product cannot wrap.
  if (width < 1 || height < 1 || static_cast<uint64_t>(width) > maxPixels_ ||
      static_cast<uint64_t>(height) > maxPixels_ ||
      static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > maxPixels_)
    throw ImageHandlerException(kInvalidSize, "Invalid size");
  if (minimumBytes > available) throw ImageHandlerException(kCannotServe, "File is not complete");
}

std::string fileExtension(const std::string& fileName) {
  const size_t dot = fileName.rfind('.');
  std::string extension = dot == std::string::npos ? fileName : fileName.substr(dot + 1);
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

}  // namespace nox::image::io
