#pragma once
// A picture of pixel type P: the one concrete IImage. The class stores the format word it is
// given and does not check it against P; the handlers choose P by comparing words.

#include "image/edit/ImageEdit.h"
#include "image/image/IImage.h"
#include "image/image/ImageData.h"
#include "image/image/PixelTypes.h"

#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace nox::image {

// Float pixels (half and float components) arrive as a vector that is moved in; all other
// pixel types are copied from decoded bytes.
template <class P>
constexpr bool kPixelsMovedIn =
    std::is_same_v<typename P::Component, half> || std::is_same_v<typename P::Component, float>;

template <class P>
class Image : public IImage {
 public:
  using Pixel = P;

  // Takes `pixels` over and leaves the argument empty.
  template <class Q = P, std::enable_if_t<kPixelsMovedIn<Q>, int> = 0>
  Image(std::vector<P>&& pixels, unsigned width, unsigned height, ImageFormat format, unsigned tag)
      : IImage(tag) {
    image_.pixels = std::move(pixels);
    pixels.clear();
    setSize(width, height, format);
  }

  // Copies formatImageSize(width, height, format) / sizeof(P) whole pixels from `bytes`, which
  // must hold that many bytes; a remainder is left out. The caller keeps the buffer.
  template <class Q = P, std::enable_if_t<!kPixelsMovedIn<Q>, int> = 0>
  Image(const unsigned char* bytes, unsigned width, unsigned height, ImageFormat format, unsigned tag)
      : IImage(tag) {
    const uint64_t count = formatImageSize(static_cast<int>(width), static_cast<int>(height), format) / sizeof(P);
    image_.pixels.resize(count);
    if (count != 0) std::memcpy(image_.pixels.data(), bytes, count * sizeof(P));
    setSize(width, height, format);
  }

  // Copies hash, tag, children, pixels and size, then updates the hash.
  Image(const Image& other) : IImage(other), image_(other.image_) { updateHash(); }

  // The pixels of an image never enter its hash.
  uint32_t computeHash() const override { return 0; }

  bool equals(const IImage& other) const override;

  void* data() override { return image_.pixels.data(); }
  int64_t pixelCount() const override { return static_cast<int64_t>(image_.pixels.size()); }
  uint32_t width() const override { return image_.width; }
  uint32_t height() const override { return image_.height; }
  ImageFormat format() const override { return image_.format; }

  void resize(unsigned width, unsigned height) override {
    using namespace std::placeholders;
    applyEdit(std::bind(&edit::resize<P>, width, height, _1));
  }
  void rotate(edit::Rotation rotation) override {
    using namespace std::placeholders;
    applyEdit(std::bind(&edit::rotate<P>, rotation, _1));
  }
  void flip(edit::Direction direction) override {
    using namespace std::placeholders;
    applyEdit(std::bind(&edit::flip<P>, direction, _1));
  }
  void transpose() override { applyEdit(&edit::transpose<P>); }

  // Runs `op` on the storage unless the word is one of the three DXT words, in which case it
  // returns without calling it. An empty `op` raises std::bad_function_call. The stored hash
  // is left as it was.
  void applyEdit(std::function<void(ImageData<P>&)> op) {
    if (isBlockCompressed(format())) return;
    op(image_);
  }

  // Read access to the storage.
  const ImageData<P>& imageData() const { return image_; }

 private:
  void setSize(unsigned width, unsigned height, ImageFormat format) {
    image_.width = width;
    image_.height = height;
    image_.format = format;
    updateHash();
  }

  ImageData<P> image_;
};

template <class P>
bool Image<P>::equals(const IImage& other) const {
  const auto* same = dynamic_cast<const Image<P>*>(&other);
  if (same == nullptr) return false;
  // Only this image's counts are walked. Where the other image holds fewer, the missing
  // elements read as a zero pixel and a null child instead of memory beyond its storage.
  const auto& theirs = same->image_.pixels;
  for (size_t i = 0; i < image_.pixels.size(); ++i) {
    if (image_.pixels[i] != (i < theirs.size() ? theirs[i] : P{})) return false;
  }
  for (size_t i = 0; i < children.size(); ++i) {
    const IImage* their = i < same->children.size() ? same->children[i].get() : nullptr;
    if (children[i].get() != their) return false;
  }
  return true;
}

// Factories: one allocation for object and counts, as std::make_shared does, tag 0.
// Float pixel types take their pixels over from the vector, which is left empty.
template <class P>
std::shared_ptr<Image<P>> makeImage(std::vector<P>&& pixels, unsigned width, unsigned height, ImageFormat format) {
  return std::make_shared<Image<P>>(std::move(pixels), width, height, format, 0u);
}

// Integer and block pixel types copy their pixels from `bytes` (see the byte constructor).
template <class P>
std::shared_ptr<Image<P>> makeImage(const unsigned char* bytes, unsigned width, unsigned height, ImageFormat format) {
  return std::make_shared<Image<P>>(bytes, width, height, format, 0u);
}

#define NOX_DECLARE_IMAGE(P) extern template class Image<P>;
NOX_IMAGE_FOR_EACH_PIXEL(NOX_DECLARE_IMAGE)
#undef NOX_DECLARE_IMAGE

}  // namespace nox::image
