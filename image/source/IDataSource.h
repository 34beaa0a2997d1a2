#pragma once
// Base of everything that can tell a hash of itself (images and image data sources).
// It stands for the base class of the platform's data-source library; only the members
// the image model needs are written here.

#include <cstdint>

namespace nox {

class IDataSource {
 public:
  IDataSource() = default;
  IDataSource(const IDataSource&) = default;
  IDataSource& operator=(const IDataSource&) = delete;
  virtual ~IDataSource();

  // Kind of source; every class of this library answers 0.
  virtual int sourceKind() const;

  // Computes the hash of the source as it stands now; does not store it.
  virtual uint32_t computeHash() const = 0;

  // Stores computeHash(). Nothing else changes the stored hash.
  void updateHash() { hash_ = computeHash(); }

  // The hash stored by the last updateHash() (0 before the first).
  uint32_t getHash() const { return hash_; }

 private:
  uint32_t hash_ = 0;
};

}  // namespace nox
