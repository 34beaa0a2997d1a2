#pragma once
// OpenEXR streams over a block of memory: MemIStream reads an EXR file held in memory,
// MemOStream writes one into a caller's buffer. Neither owns its memory.

#include <OpenEXR/ImfIO.h>

#include <cstdint>

namespace nox::image::io {

class MemIStream : public Imf::IStream {
 public:
  // Reads the `size` bytes at `data`, which must outlive the stream.
  MemIStream(const char* data, uint64_t size);

  // Copies `n` bytes and returns true, also for the last bytes of the block. A read that would
  // run past the end copies nothing from the block, zeroes the destination and throws
  // Iex::InputExc "Early end of file".
  bool read(char c[], int n) override;
  uint64_t tellg() override { return position_; }
  // Unchecked: a position past the end makes the next read fail.
  void seekg(uint64_t position) override { position_ = position; }
  void clear() override {}

 private:
  const char* data_;
  uint64_t size_;
  uint64_t position_ = 0;
};

class MemOStream : public Imf::OStream {
 public:
  // Writes into the `size` bytes at `data`, which must outlive the stream.
  MemOStream(char* data, uint64_t size);

  // Copies `n` bytes and advances; a write that would run past the end throws Iex::IoExc
  // "Insuffient memory allocated to write to memory", leaving what was written before.
  void write(const char c[], int n) override;
  uint64_t tellp() override { return position_; }
  // Unchecked: a position past the end makes the next write throw.
  void seekp(uint64_t position) override { position_ = position; }

 private:
  char* data_;
  uint64_t size_;
  uint64_t position_ = 0;
};

}  // namespace nox::image::io
