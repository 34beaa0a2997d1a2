#include "image/io/ImageHandlerFactory.h"

#include "image/io/ImageHandlerDDS.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/nbn/ImageHandlerNBN.h"

namespace nox::image::io {
namespace {

[[noreturn]] void noHandler() { throw ImageHandlerException(kNoHandler, "File format is unsupported"); }

// Asks the families in chain order and builds the first that accepts.
template <class... Families>
struct Chain {
  template <class Choose>
  static std::shared_ptr<ImageHandlerImpl> first(Choose& choose) {
    std::shared_ptr<ImageHandlerImpl> handler;
    static_cast<void>((((handler = choose.template with<Families>()) != nullptr) || ...));
    if (!handler) noHandler();
    return handler;
  }
};

using HandlerChain = Chain<ImageHandlerDDS, ImageHandlerEXR, ImageHandlerHDR, ImageHandlerSTBI, ImageHandlerNBN>;

struct ByExtension {
  const std::string& fileName;
  std::string extension;
  uint16_t options;

  template <class H>
  std::shared_ptr<ImageHandlerImpl> with() {
    if (!H::canLoadExtension(extension)) return nullptr;
    return std::make_shared<H>(fileName, options);
  }
};

struct ByContent {
  const void* data;
  int32_t size;
  uint16_t options;

  template <class H>
  std::shared_ptr<ImageHandlerImpl> with() {
    if (!H::canLoadMemory(data, size)) return nullptr;
    return std::make_shared<H>(data, size, options);
  }
};

}  // namespace

std::shared_ptr<ImageHandlerImpl> createFromPath(const std::string& fileName, uint16_t options) {
  ByExtension choose{fileName, fileExtension(fileName), options};
  return HandlerChain::first(choose);
}

std::shared_ptr<ImageHandlerImpl> createFromMemory(const void* data, int32_t size, uint16_t options) {
  if (data == nullptr || size < 0) size = 0;
  ByContent choose{data, size, options};
  return HandlerChain::first(choose);
}

}  // namespace nox::image::io
