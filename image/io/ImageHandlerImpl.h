#pragma once
// The abstract format handler: holds a whole input file or memory block and decodes it on
// `load`. Concrete handlers are made with std::make_shared of their own type and held through
// shared pointers, which destroy them as that type; the base is never deleted directly and so
// has no virtual destructor.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "image/image/IImage.h"

namespace nox::image::io {

// The option word of every handler: the low byte is `forceRgba`, the high byte
// `applyExifOrientation`. The importer always passes kHandlerOptionsDefault.
constexpr uint16_t kOptionForceRgba = 0x0001;
constexpr uint16_t kOptionApplyExifOrientation = 0x0100;
constexpr uint16_t kHandlerOptionsDefault = kOptionApplyExifOrientation;

// The largest picture a handler decodes, in pixels: a header that declares more is refused
// before anything is allocated for it.
constexpr uint64_t kMaxImagePixels = uint64_t{1} << 28;

class ImageHandlerImpl {
 public:
  // Decodes the bytes held. An empty pointer means the handler has nothing to give. Throws
  // ImageHandlerException. The image does not depend on the handler afterwards.
  virtual std::shared_ptr<IImage> load() = 0;
  // Writes `image` (not owned) to the file `fileName`; a null image writes nothing. Throws
  // ImageHandlerException.
  virtual void save(const std::string& fileName, IImage* image) = 0;
  // Encodes `image` as `type` (ImageFileType) into `buffer` of `size` bytes and returns the
  // bytes written; a null image gives 0. Throws ImageHandlerException.
  virtual uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) = 0;
  // The handler's fixed name, "nox_image <format> Loader".
  virtual std::string loaderName() = 0;

  uint16_t options() const { return options_; }
  bool forceRgba() const { return (options_ & 0xFF) != 0; }
  bool applyExifOrientation() const { return (options_ >> 8) != 0; }
  // The whole input, owned by the handler.
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  // The largest picture `load` decodes, in pixels. A caller may lower it below
  // kMaxImagePixels (to bound the memory a load may take), never raise it above.
  uint64_t maxPixels() const { return maxPixels_; }
  void setMaxPixels(uint64_t pixels) { maxPixels_ = pixels < kMaxImagePixels ? pixels : kMaxImagePixels; }

  // Reads the whole file `fileName`. Throws kFileUnreadable "File '<name>' could not be read"
  // when it cannot be opened or read.
  ImageHandlerImpl(const std::string& fileName, uint16_t options);
  // Copies `size` bytes at `data`; a null block or a size below 1 is held as no bytes.
  ImageHandlerImpl(const void* data, int32_t size, uint16_t options);

 protected:
  // Not virtual: a handler is destroyed through its own type, never through this base.
  ~ImageHandlerImpl() = default;

  // Refuses a declared picture before anything is allocated for it: kInvalidSize "Invalid
  // size" for a side below 1 or more than maxPixels() pixels, kCannotServe "File is not
  // complete" when it needs more than the `available` bytes hold at the format's best
  // compression (`minimumBytes`).
  void checkDeclaredSize(int64_t width, int64_t height, uint64_t minimumBytes, uint64_t available) const;

 private:
  uint16_t options_;
  std::vector<uint8_t> bytes_;
  uint64_t maxPixels_ = kMaxImagePixels;
};

// The extension of `fileName` as the chains compare it: the text behind its last '.' (in the
// whole path, so a '.' in a folder name counts), or the whole name when it has none,
// lower-cased byte by byte.
std::string fileExtension(const std::string& fileName);

}  // namespace nox::image::io
