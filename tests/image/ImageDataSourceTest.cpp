#include "image/image/Image.h"
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

  auto large = std::make_shared<ImageDataSourceMem>();
  large->describe(64, 64, FormatRGBA8);
  ImageDataSourceMem c, d;
  c.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  d.addPrimaryChild(large);
  EXPECT_EQ(c.computeHash(), d.computeHash());
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

  struct Case { unsigned width, height; ImageFormat word; };
  for (const Case& c : {Case{0, 16, FormatRGBA8}, Case{16, 0, FormatRGBA8}, Case{16, 16, 274447}, Case{16, 16, 39}}) {
    EXPECT_EQ(source.allocate(c.width, c.height, c.word), nullptr) << c.word;
    EXPECT_EQ(source.data(), blocks) << "a refused allocation keeps the old contents";
    EXPECT_EQ(source.format(), FormatDXT1);
  }

  source.describe(5, 6, FormatL8);
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
  EXPECT_EQ(view.dataSize(), 0u) << "a view takes no size from its parent";
  EXPECT_EQ(parent.use_count(), 1) << "a view does not keep its parent";
  parent.reset();
  EXPECT_EQ(view.data(), nullptr);
  EXPECT_EQ(view.computeHash(), kAllZeroHash);
}

}  // namespace
