// A small SHA-256 for tests that compare decoded data with published digests; the product's own
// hashing (CNG / OpenSSL) lives in update/ and is not linked into the formats tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orv {

class TestSha256 {
 public:
  TestSha256();
  void Update(const void* data, std::size_t size);
  // 64 lowercase hex characters; the object is spent afterwards.
  std::string HexDigest();

 private:
  void Block(const std::uint8_t* p);
  std::uint32_t h_[8];
  std::uint8_t buffer_[64];
  std::size_t used_ = 0;
  std::uint64_t total_ = 0;
};

inline std::string Sha256Hex(const void* data, std::size_t size) {
  TestSha256 sha;
  sha.Update(data, size);
  return sha.HexDigest();
}

}  // namespace orv
