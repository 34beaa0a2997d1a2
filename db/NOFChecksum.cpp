#include "db/NOFChecksum.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {
EVP_MD_CTX* Ctx(void* p) { return static_cast<EVP_MD_CTX*>(p); }
}  // namespace

MD5::MD5() : ctx_(EVP_MD_CTX_new()) { restart(); }

MD5::MD5(const MD5& other) : ctx_(EVP_MD_CTX_new()) { *this = other; }

MD5& MD5::operator=(const MD5& other) {
  if (this != &other) {
    EVP_MD_CTX_copy_ex(Ctx(ctx_), Ctx(other.ctx_));
    std::memcpy(digest_, other.digest_, sizeof digest_);
    finalized_ = other.finalized_;
  }
  return *this;
}

MD5::~MD5() { EVP_MD_CTX_free(Ctx(ctx_)); }

void MD5::restart() {
  EVP_DigestInit_ex(Ctx(ctx_), EVP_md5(), nullptr);
  finalized_ = false;
}

void MD5::update(const unsigned char* data, size_t size) {
  if (finalized_) restart();
  if (size > 0) EVP_DigestUpdate(Ctx(ctx_), data, size);
}

void MD5::finalize() {
  if (finalized_) return;
  unsigned int n = 0;
  EVP_DigestFinal_ex(Ctx(ctx_), digest_, &n);
  finalized_ = true;
}

std::string MD5::digest() const {
  return finalized_ ? std::string(reinterpret_cast<const char*>(digest_), sizeof digest_) : "";
}

std::string MD5::hexdigest() const {
  if (!finalized_) return "";
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (unsigned char b : digest_) {
    out.push_back(hex[b >> 4]);
    out.push_back(hex[b & 15]);
  }
  return out;
}

void MD5::setDigest(const std::string& digest) {
  std::memset(digest_, 0, sizeof digest_);
  std::memcpy(digest_, digest.data(), std::min(digest.size(), sizeof digest_));
  finalized_ = true;
}

CNOFChecksum::CNOFChecksum() = default;
CNOFChecksum::~CNOFChecksum() = default;

void CNOFChecksum::calcChecksum(FILE* file) {
  restart();
  std::vector<unsigned char> buffer(1 << 16);
  size_t n;
  while (file && (n = fread(buffer.data(), 1, buffer.size(), file)) > 0) update(buffer.data(), n);
  finalize();
}

void CNOFChecksum::calcChecksum(unsigned char* data, unsigned int size) { update(data, size); }

CNOFChecksum CNOFChecksum::FromDigest(const std::string& digest) {
  CNOFChecksum sum;
  sum.setDigest(digest);
  return sum;
}
