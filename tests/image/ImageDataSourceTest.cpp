#include "image/image/Image.h"
#include "image/source/ImageDataSourceImage.h"
#include "image/source/ImageDataSourceMem.h"
#include "image/source/ImageDataSourceView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

using namespace nox::image;

// Hashes worked out by hand from FNV-1a and the combine step, in the order width, height,
// auxExtent, tag, format, data address, dataSize, primary count, secondary count.
constexpr uint32_t kAllZeroHash = 1310911293;      // every value 0
constexpr uint32_t kOneToFiveHash = 409030055;     // width 1, height 2, auxExtent 3, tag 4, format 5
constexpr uint32_t kOneFreshSecondary = 375264325;  // one secondary child holding kAllZeroHash
constexpr uint32_t kOneNullSecondary = 2563121837;  // one null secondary child, taken as hash 0

// A procedural source that sets the fields no public setter reaches.
class Fields : public ImageDataSourceProcedural {
 public:
  Fields(uint32_t width, uint32_t height, uint32_t auxExtent, uint32_t tag, ImageFormat format) {
    width_ = width;
    height_ = height;
    auxExtent_ = auxExtent;
    tag_ = tag;
    format_ = format;
  }
};

bool allZero(const unsigned char* bytes, size_t count) {
  return std::all_of(bytes, bytes + count, [](unsigned char b) { return b == 0; });
}

TEST(ImageDataSource, HashTakesTheFieldsInOrder) {
  ImageDataSourceMem fresh;
  EXPECT_EQ(fresh.data(), nullptr);
  EXPECT_EQ(fresh.getHash(), 0u);
  fresh.updateHash();
  EXPECT_EQ(fresh.getHash(), kAllZeroHash);

  EXPECT_EQ(Fields(1, 2, 3, 4, 5).computeHash(), kOneToFiveHash);

  ImageDataSourceMem withFresh;
  withFresh.addSecondaryChild(std::make_shared<ImageDataSourceMem>());
  EXPECT_EQ(withFresh.computeHash(), kOneFreshSecondary);

  ImageDataSourceMem withNull;
  withNull.addSecondaryChild(nullptr);
  EXPECT_EQ(withNull.computeHash(), kOneNullSecondary);
}

TEST(ImageDataSource, HashSeesTheAddressAndTheCountOfPrimariesOnly) {
  ImageDataSourceMem a, b;
  a.allocate(2, 2, FormatRGBA8);
  b.allocate(2, 2, FormatRGBA8);
  EXPECT_NE(a.computeHash(), b.computeHash()) << "equal bytes at different addresses";

  auto small = std::make_shared<ImageDataSourceMem>();
  auto large = std::make_shared<ImageDataSourceMem>();
  large->describe(64, 64, FormatRGBA8);
  ImageDataSourceMem c, d;
  c.addPrimaryChild(small);
  d.addPrimaryChild(large);
  EXPECT_EQ(c.computeHash(), d.computeHash());
}

TEST(ImageDataSource, AddingAChildUpdatesTheChildNotTheParent) {
  auto child = std::make_shared<ImageDataSourceMem>();
  child->describe(4, 4, FormatRGB8);
  ImageDataSourceMem parent;
  parent.addPrimaryChild(child);
  EXPECT_EQ(child->getHash(), child->computeHash());
  EXPECT_NE(child->getHash(), 0u);
  EXPECT_EQ(parent.getHash(), 0u);
  EXPECT_EQ(parent.primaryChildCount(), 1);
  EXPECT_EQ(parent.primaryChild(0), child.get());
  EXPECT_EQ(parent.primaryChild(1), nullptr);
  EXPECT_EQ(parent.secondaryChildCount(), 0);
}

TEST(ImageDataSource, AllocateRefusesEmptySizesAndKeepsTheOldContents) {
  ImageDataSourceMem source;
  unsigned char* first = source.allocate(4, 4, FormatRGBA8);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(source.dataSize(), 64u);
  EXPECT_TRUE(allZero(first, 64));

  struct Case { unsigned width, height; ImageFormat word; };
  const Case refused[] = {{0, 16, FormatRGBA8}, {16, 0, FormatRGBA8}, {16, 16, 274447}, {16, 16, 39}};
  for (const auto& c : refused) {
    EXPECT_EQ(source.allocate(c.width, c.height, c.word), nullptr) << c.word;
    EXPECT_EQ(source.data(), first);
    EXPECT_EQ(source.width(), 4u);
    EXPECT_EQ(source.format(), FormatRGBA8);
  }
}

TEST(ImageDataSource, AllocateDescribeResetAndClear) {
  ImageDataSourceMem source;
  source.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  source.addSecondaryChild(std::make_shared<ImageDataSourceMem>());
  unsigned char* blocks = source.allocate(4, 4, FormatDXT1);
  ASSERT_NE(blocks, nullptr);
  EXPECT_EQ(source.dataSize(), 8u);
  EXPECT_TRUE(allZero(blocks, 8));
  EXPECT_EQ(source.primaryChildCount() + source.secondaryChildCount(), 0) << "allocate clears the children";

  source.describe(5, 6, FormatL8);
  EXPECT_EQ(source.width(), 5u);
  EXPECT_EQ(source.height(), 6u);
  EXPECT_EQ(source.format(), FormatL8);
  EXPECT_EQ(source.dataSize(), 0u);
  EXPECT_EQ(source.data(), nullptr);

  source.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  unsigned char* bytes = source.reset(3, 2, FormatRGB8);
  EXPECT_EQ(source.data(), bytes);
  EXPECT_EQ(source.dataSize(), 18u);
  EXPECT_TRUE(allZero(bytes, 18));
  EXPECT_EQ(source.primaryChildCount(), 1) << "reset keeps the children";

  source.clear();
  EXPECT_EQ(source.computeHash(), kAllZeroHash);
}

TEST(ImageDataSource, ViewSharesTheParentsBytesWhileItLives) {
  auto parent = std::make_shared<ImageDataSourceMem>();
  parent->allocate(4, 4, FormatRGBA8);
  ImageDataSourceView view(parent);
  EXPECT_EQ(view.data(), parent->data());
  EXPECT_EQ(view.width(), 0u) << "a view takes no size from its parent";
  EXPECT_EQ(view.dataSize(), 0u);
  EXPECT_EQ(parent.use_count(), 1) << "a view does not keep its parent";

  parent.reset();
  EXPECT_EQ(view.data(), nullptr);
  EXPECT_EQ(view.computeHash(), kAllZeroHash);
}

TEST(ImageDataSource, ImageSourceAnswersFromTheImage) {
  const unsigned char bytes[24] = {1, 2, 3};
  auto image = makeImage<PixelRGBA8>(bytes, 3, 2, FormatRGBA8);
  image->tag = 7;
  image->children.push_back(makeImage<PixelL8>(bytes, 1, 1, FormatL8));
  ImageDataSourceImage source(image);
  EXPECT_EQ(source.width(), 3u);
  EXPECT_EQ(source.height(), 2u);
  EXPECT_EQ(source.format(), FormatRGBA8);
  EXPECT_EQ(source.tag(), 7u);
  EXPECT_EQ(source.data(), image->data());
  EXPECT_EQ(source.dataSize(), 24u);
  EXPECT_EQ(source.primaryChildCount(), 0) << "the image's children are not the source's";
  EXPECT_EQ(source.primaryChild(0), nullptr);
  source.updateHash();
  EXPECT_EQ(source.getHash(), 0u);
}

}  // namespace
