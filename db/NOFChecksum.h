#pragma once
// MD5 digests of the bytes a database file was made from.

#include <cstdio>
#include <string>

// An incremental MD5 digest over OpenSSL.
class MD5 {
 public:
  MD5();
  MD5(const MD5& other);
  MD5& operator=(const MD5& other);
  virtual ~MD5();

  // Adds bytes; after finalize() it starts a new digest.
  void update(const unsigned char* data, size_t size);
  // Ends the digest. Further calls do nothing.
  void finalize();
  bool finalized() const { return finalized_; }
  // The 16 digest bytes, or an empty string before finalize().
  std::string digest() const;
  // 32 lower-case hex digits, or an empty string before finalize().
  std::string hexdigest() const;

 protected:
  void restart();
  void setDigest(const std::string& digest);

 private:
  void* ctx_ = nullptr;  // EVP_MD_CTX, kept out of this header
  unsigned char digest_[16] = {};
  bool finalized_ = false;
};

class CNOFChecksum : public MD5 {
 public:
  CNOFChecksum();
  ~CNOFChecksum() override;

  // Digests an open file from its current position to its end, and finalizes.
  void calcChecksum(FILE* file);
  // Adds bytes to the digest; the caller finalizes with MD5::finalize().
  void calcChecksum(unsigned char* data, unsigned int size);

  // A finished checksum holding a stored digest of 16 bytes.
  static CNOFChecksum FromDigest(const std::string& digest);
};
