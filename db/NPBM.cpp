#include "db/NPBM.h"

#include <cstddef>

CNPBM::CNPBM(unsigned int width, unsigned int height) { SetSize(width, height); }

bool CNPBM::SetSize(unsigned int width, unsigned int height) {
  if (width > 0xFFFF || height > 0xFFFF) {
    width_ = height_ = 0;
    pixels_.clear();
    return false;
  }
  width_ = static_cast<unsigned short>(width);
  height_ = static_cast<unsigned short>(height);
  pixels_.assign(static_cast<size_t>(width) * height * 3, 0);
  return true;
}

unsigned char* CNPBM::GetPixels() const { return pixels_.empty() ? nullptr : pixels_.data(); }
