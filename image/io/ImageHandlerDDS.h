#pragma once
// The place of DDS in the handler chains. It reads and writes nothing: both of its tests
// refuse every input, so no chain ever builds it.

#include "image/io/ImageHandlerImpl.h"

namespace nox::image::io {

class ImageHandlerDDS final : public ImageHandlerImpl {
 public:
  using ImageHandlerImpl::ImageHandlerImpl;

  // Always false, "dds" included.
  static bool canLoadExtension(const std::string& extension);
  static bool canLoadMemory(const void* data, int32_t size);

  // An empty pointer; throws nothing.
  std::shared_ptr<IImage> load() override;
  // Does nothing.
  void save(const std::string& fileName, IImage* image) override;
  // Always throws kCannotServe "Unimplemented".
  uint32_t saveToMemory(void* buffer, int32_t size, IImage* image, int32_t type) override;
  // "nox_image DDS Loader".
  std::string loaderName() override;
};

}  // namespace nox::image::io
