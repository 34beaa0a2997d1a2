#pragma once
// CNoxImage: one NBN picture with its chain of mip levels, read from and written to an NBN
// file through six virtual file operations, plus the picture operations that change its
// size and format. CMemNoxImage (MemNoxImage.h) puts the file operations on a memory block.
//
// Pixels live in one malloc'd buffer of 1.5 times the plain size of level 0, enough for the
// whole chain of quarter-size levels, laid out level after level. Storage mode 3 points the
// object at a buffer of the caller's instead, which it never frees. Operations report failure
// by a false result and print nothing, apart from the two messages of `scale_by_half` and
// `convert_to_rgba`.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "image/io/nbn/NbnLayout.h"

namespace nox::image::io {

// Flags of `save` and `fit_to_multiple`.
enum ENbnFlags : unsigned {
  kNbnMipChain = 0x001,       // save: write a mip chain
  kNbnFullCopy = 0x002,       // save with DXT: also the plain level 0, LZ-packed, behind the levels
  kNbnFitCrop = 0x004,        // fit_to_multiple: crop in the centre
  kNbnFitScale = 0x008,       // fit_to_multiple: scale up to the next multiple
  kNbnSquish = 0x010,         // save with DXT: encode with libsquish instead of the fast encoders
  kNbnWritePalette = 0x020,   // save: write the palette if there is one
  kNbnWriteGeoBlock = 0x040,  // save: write the bounds block if there is one
  kNbnBlank = 0x080,          // save: set the blank flag of the header
  kNbnFlip = 0x100,           // save with DXT: the flipping fast encoders
  kNbnToRgba = 0x200,         // save: convert to four channels first, also without DXT
  kNbnAlphaFromColour = 0x400,  // conversion of three channels: alpha is the mean colour
};

constexpr int64_t kNbnMaxPixels = int64_t{1} << 28;

class CNoxImage {
 public:
  // An empty picture in storage mode 1 (see `reset`).
  CNoxImage();
  // Frees the pixel buffer unless it is the caller's (storage mode 3) and the scratch buffer,
  // and closes a file that is still open.
  virtual ~CNoxImage();
  CNoxImage(const CNoxImage&) = delete;
  CNoxImage& operator=(const CNoxImage&) = delete;

  // Back to the starting state: storage mode 1, no pixels, no palette, no bounds block,
  // `mipShift` 1, `transparentIndex` -1, blank flag off, no scratch, no open file.
  void reset();

  // --- The file operations. The memory variant replaces all six.
  // Opens `fileName` for reading, or for writing (created, truncated). False when no
  // descriptor was obtained; a file still open from before is closed first.
  virtual bool open(const char* fileName, bool forWrite);
  // Closes the file if one is open.
  virtual void close();
  // Write and read at the current position; the count moved, or -1 on an error.
  virtual int write(const void* data, int length);
  virtual int read(void* data, int length);
  // Move to `offset` from the start, or to the end.
  virtual void seek(int64_t offset);
  virtual void seekEnd();

  // --- Reading. A file name of null reads from what `open(nullptr, false)` gives (the
  // memory variant); a name shorter than 5 characters fails without opening anything.
  // Reads the header, level size table, palette and bounds block, and leaves the source
  // open at the first level on success; closes it on failure. Pixels are not touched.
  bool read_header(const char* fileName);
  // Reads the levels announced by the header into the pixel buffer (level 0 only unless
  // `keepLevels`), then closes the source. False when a level cannot be read whole, when
  // the buffer cannot be had, or for a version 2 file with mip levels and `keepLevels`.
  bool read_levels(bool keepLevels);
  // Header only, then closes the source; storage mode becomes 0.
  bool load_header(const char* fileName);
  // Header only, the source stays open; storage mode becomes 0.
  bool load_header_open(const char* fileName);
  // Header and levels; a file with the blank flag is then filled with the byte 204.
  bool load(const char* fileName, bool keepLevels);
  // As `load`, but the blank flag is not acted on.
  bool load_without_blank(const char* fileName, bool keepLevels);
  // Header only, the source stays open. True only if the file holds an accepted bounds
  // block. A file with the blank flag is filled with the byte 204.
  bool load_geo_only(const char* fileName);
  // Level `level` of a version 3 file alone, into a buffer sized for it; width and height
  // become that level's, `levelCount` 0. The offset of the level leaves a bounds block out
  // of the count, so in a file that holds one the level is read 40 bytes early, by design.
  bool load_level(const char* fileName, int level);
  // Level 0 in plain pixels whatever the packing, in storage mode 2: DXT levels come from
  // the full-size copy if the file has one (sought without counting palette or bounds
  // block, by design), else they are decoded with libsquish.
  bool load_decoded(const char* fileName);

  // The largest picture the readers lay a buffer out for, in pixels; at most (and by
  // default) 2^28. A reader also refuses, before it allocates, a picture that its source
  // cannot hold even packed as tightly as its packing allows, and stored sizes beyond the
  // source's end.
  int64_t max_pixels() const { return maxPixels_; }
  void set_max_pixels(int64_t pixels) { maxPixels_ = std::min(pixels, kNbnMaxPixels); }
  // True when the current size, format and packing pass those checks, with `storedBytes`
  // still to be read from the source.
  bool source_can_hold(uint64_t storedBytes) const;

  // --- Writing. Writes the picture with `packWord` (ENbnPackWord; a low byte of 1 counts
  // as kNbnLz) and ENbnFlags. Fails when width or height does not divide by 2^mipShift (with
  // kNbnMipChain) times 4 (with DXT), when the conversion to four channels fails, when there
  // are no pixels, or when the file cannot be opened or written whole. With kNbnMipChain
  // the chain is built behind level 0 in the pixel buffer (a private copy in storage mode
  // 3) and `levelCount` counts its levels; it stops after a level with an odd side, or with
  // DXT after a side that does not divide by 8. A null file name writes to what
  // `open(nullptr, true)` gives.
  bool save(const char* fileName, int packWord, unsigned flags);

  // --- Picture operations (NoxImagePicture.cpp).
  // Halves the picture of width x height at `source` (packed rows of the object's bytes per
  // pixel, or palette indices for format 6) into `destination`: each side halved, at least
  // 1. Pixels are the truncated mean of each 2x2 square; palette indices are voted for.
  // False, with a message on standard output, for 0 bytes per pixel.
  bool scale_by_half(int width, int height, const uint8_t* source, uint8_t* destination);
  // Resamples the pixels to newWidth x newHeight with a box filter in 8.8 fixed point
  // (palette indices by a weighted vote). False without pixels or for a side below 1.
  bool scale_to(int newWidth, int newHeight);
  // Keeps the rectangle x1 <= x < x2, y1 <= y < y2; the bounds block follows it. False for
  // a rectangle outside the picture or without pixels.
  bool crop(int x1, int y1, int x2, int y2);
  // Makes both sides divisible by what `save` needs for `packWord` and `flags`: true if they
  // are, else scales up (kNbnFitScale) or crops in the centre (kNbnFitCrop); false with
  // neither flag.
  bool fit_to_multiple(int packWord, unsigned flags);
  // Converts formats 0 to 3 to format 5 in a new buffer (kNbnAlphaFromColour: alpha of three
  // channels is their mean). True at once for format 5. False without pixels (the format
  // still becomes 5), for other formats, or when the buffer cannot be had (with a message).
  bool convert_to_rgba(unsigned flags);
  // Replaces palette indices (format 6 with a palette) by four channels; the transparent
  // index gets alpha 0. The palette is dropped. False for anything else.
  bool expand_palette();
  // Sets every byte of level 0 to 204 and `levelCount` to 0, taking a buffer if needed.
  bool fill_blank();
  // Writes the low bytes of `colour`, highest first, to the pixel at (x, y). False outside
  // the picture or without pixels.
  bool set_pixel(int x, int y, uint32_t colour);
  // Setters that lay the buffer out anew; false when a buffer of the object's own cannot be
  // had.
  bool set_format(int pictureFormat);
  bool set_storage_mode(int storageMode);
  bool set_geometry(int width, int height, int pictureFormat);
  // Storage mode 3: the pixels are the caller's `pixels`, of `limit` bytes (negative: not
  // told). False when the limit is below the size of level 0. The object frees its own
  // buffer first and never frees the caller's.
  bool set_external_buffer(uint8_t* pixels, int64_t limit);

  // --- State.
  int storage_mode() const { return storageMode_; }
  int version() const { return version_; }
  int sub_version() const { return subVersion_; }
  bool blank() const { return blank_; }
  int width() const { return width_; }
  int height() const { return height_; }
  int picture_format() const { return pictureFormat_; }
  int bytes_per_pixel() const { return bytesPerPixel_; }
  int row_stride() const { return rowStride_; }
  // Bytes from one row to the next; 0 or less means width times bytes per pixel.
  void set_row_stride(int stride) { rowStride_ = stride; }
  int pack_word() const { return packWord_; }
  int payload_size() const { return payloadSize_; }
  int full_image_size() const { return fullImageSize_; }
  int64_t used_size() const { return usedSize_; }
  int64_t capacity() const { return capacity_; }
  // Level 0 of the pixel buffer; null when there is none. Owned by the object except in
  // storage mode 3.
  uint8_t* pixels() const { return pixels_; }
  int level_count() const { return levelCount_; }
  // Per level (0 to 19): bytes of the level in the buffer, bytes in the file, where it lies.
  int64_t decoded_size(int level) const { return decodedSize_[level]; }
  uint32_t stored_size(int level) const { return storedSize_[level]; }
  uint8_t* level_pixels(int level) const { return levelPixels_[level]; }
  int mip_shift() const { return mipShift_; }
  void set_mip_shift(int shift) { mipShift_ = shift; }
  bool has_palette() const { return hasPalette_; }
  // 256 colours, red in the low byte.
  const uint32_t* palette() const { return palette_; }
  void set_palette(const uint32_t colours[kNbnPaletteEntries]);
  int transparent_index() const { return transparentIndex_; }
  void set_transparent_index(int index) { transparentIndex_ = index; }
  bool has_geo_block() const { return hasGeo_; }
  int geo_type() const { return geoType_; }
  // Minimum x, maximum x, minimum y, maximum y.
  const double* geo_bounds() const { return geoBounds_; }
  // Attaches a bounds block of `type` (1 or 12 are the types files carry).
  void set_geo_block(int type, double minX, double maxX, double minY, double maxY);

 protected:
  // Bytes of the source opened for reading; -1 when not known. Set by `open`.
  int64_t sourceSize_ = -1;

 private:
  // Lays the buffer out for the current size, format and storage mode (modes 1 and 2 only):
  // grows it when needed, never shrinks it, and places all 20 levels. False when a buffer
  // of the object's own is wanted and cannot be had.
  bool layout();
  // Bytes that may be written at level `level`: to the end of the buffer, or in storage
  // mode 3 its limit (its decoded size when no limit was told).
  int64_t level_room(int level) const;
  // Bytes the picture operations may write at the pixels: the buffer's capacity, or in
  // storage mode 3 the limit (unbounded when none was told: the caller vouches for it).
  int64_t picture_room() const;
  // Checks every level up to `levelCount` against its limit in storage mode 3.
  bool levels_fit_limits() const;
  // Makes the scratch buffer hold what reading or writing a block of `size` bytes needs.
  bool reserve_scratch(int64_t size);
  // Reads `storedSize` bytes of a level into `destination`, unpacking them when `packHigh`
  // (the high byte of the pack word) is 256. The bytes that landed there, 0 on failure.
  int64_t read_level_data(uint8_t* destination, uint32_t storedSize, int64_t room, int packHigh);
  // Writes `size` bytes of a level, LZ-packed when `packed`. The bytes written, 0 on failure.
  int64_t write_level_data(const uint8_t* data, int64_t size, bool packed);
  // Decodes the DXT blocks of level 0 to plain pixels in place with libsquish.
  bool decode_level0_dxt(int packLow);
  // Replaces the pixel buffer by `buffer` of `size` bytes holding four channels per pixel.
  void adopt_rgba(uint8_t* buffer, int64_t size);
  // 1, 2^mipShift with kNbnMipChain, times 4 for DXT; 0 for a shift out of range.
  int save_divisor(int packWord, unsigned flags) const;
  bool fail_and_close();

  int storageMode_;
  int version_;
  int subVersion_;
  bool blank_;
  int width_;
  int height_;
  int pictureFormat_;
  int bytesPerPixel_;
  int rowStride_;
  int packWord_;
  int payloadSize_;
  int fullImageSize_;
  int64_t usedSize_;
  int64_t capacity_;
  uint8_t* pixels_;
  int levelCount_;
  int64_t decodedSize_[kNbnMaxLevels];
  uint32_t storedSize_[kNbnMaxLevels];
  uint8_t* levelPixels_[kNbnMaxLevels];
  int64_t levelLimit_[kNbnMaxLevels];
  int mipShift_;
  bool hasPalette_;
  uint32_t palette_[kNbnPaletteEntries];
  int transparentIndex_;
  bool hasGeo_;
  int geoType_;
  double geoBounds_[4];
  int fd_;
  uint8_t* scratch_;
  int64_t scratchCapacity_;
  int64_t maxPixels_ = kNbnMaxPixels;
};

}  // namespace nox::image::io
