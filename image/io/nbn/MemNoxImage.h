#pragma once
// CMemNoxImage: a CNoxImage whose six file operations work on a memory block, for NBN
// files held in memory and for writing them to memory.

#include <cstdint>

#include "image/io/nbn/NoxImage.h"

namespace nox::image::io {

class CMemNoxImage : public CNoxImage {
 public:
  // No block; `borrowed` on, `keepBuffer` off.
  CMemNoxImage();
  // Frees the block unless it is borrowed.
  ~CMemNoxImage() override;

  // The block stands in for a file. Every operation stays one byte short of the block's
  // size, by design: its last byte is neither read nor written, and a read or write that
  // reaches it comes up one byte short. The file name is ignored.
  // False when there is no block or its size is 0; otherwise the position goes to 0.
  bool open(const char* fileName, bool forWrite) override;
  void close() override;
  // Copies up to the byte before the last; -1 without a block. Raises the high-water mark.
  int write(const void* data, int length) override;
  // Copies up to the byte before the last; 0 without a block.
  int read(void* data, int length) override;
  // The position becomes `offset`, at most size - 1.
  void seek(int64_t offset) override;
  // The position becomes size - 1.
  void seekEnd() override;

  // Loads the NBN file of `size` bytes at `data` as `load` does. The block stays the
  // caller's (borrowed) and is only read; it must outlive the reading. A block of the
  // object's own is freed first.
  bool load_from_memory(const uint8_t* data, uint32_t size, bool keepLevels);
  // Writes the picture as `save` does into a block of the object's own, sized for the
  // picture with its chain and all fixed parts; with `keepBuffer` a block of that exact
  // size is reused. Afterwards `high_water` is the length of the file in `buffer`.
  bool save_to_memory(int packWord, unsigned flags);
  // Unless `keepBuffer` is on, frees the block (if the object's own) and forgets it. Size
  // and position become 0 in any case. Always true.
  bool release_memory();

  const uint8_t* buffer() const { return buffer_; }
  uint32_t size() const { return size_; }
  uint32_t buffer_capacity() const { return capacity_; }
  bool borrowed() const { return borrowed_ != 0; }
  int32_t position() const { return position_; }
  int32_t high_water() const { return highWater_; }
  bool keep_buffer() const { return keepBuffer_; }
  void set_keep_buffer(bool keep) { keepBuffer_ = keep; }

 private:
  // Bytes that may be moved at the position: up to the byte before the last.
  int64_t movable(int length) const;
  void free_owned_buffer();

  uint32_t size_ = 0;
  uint32_t capacity_ = 0;
  uint8_t* buffer_ = nullptr;
  int32_t borrowed_ = 1;
  int32_t position_ = 0;
  int32_t highWater_ = 0;
  bool keepBuffer_ = false;
};

}  // namespace nox::image::io
