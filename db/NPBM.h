#pragma once
// An icon bitmap: 3 bytes a pixel (red, green, blue), rows top first, at most 65535 a side.

#include <vector>

class CNPBM {
 public:
  // A bitmap of that size with black pixels; a side above 65535 gives an invalid 0 by 0 one.
  CNPBM(unsigned int width = 0, unsigned int height = 0);
  CNPBM(const CNPBM&) = default;
  CNPBM& operator=(const CNPBM&) = default;
  ~CNPBM() = default;

  // Resizes to black pixels; false (and 0 by 0) for a side above 65535.
  bool SetSize(unsigned int width, unsigned int height);
  // The pixel bytes, width * height * 3 of them, owned by the bitmap; null when empty.
  unsigned char* GetPixels() const;
  unsigned short Width() const { return width_; }
  unsigned short Height() const { return height_; }
  // True when the bitmap has pixels.
  bool IsValid() const { return width_ > 0 && height_ > 0; }

 private:
  unsigned short width_ = 0;
  unsigned short height_ = 0;
  mutable std::vector<unsigned char> pixels_;
};
