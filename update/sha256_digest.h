// One SHA-256 computation over a stream of bytes: CNG (BCrypt "SHA256" provider and hash object) on
// Windows, OpenSSL libcrypto (EVP) elsewhere. The digest routines of sha256.h build on it; each call
// of theirs owns one of these, so nothing is shared between threads or calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

class Sha256Digest {
 public:
  using Value = std::array<std::uint8_t, 32>;

  // Opens the provider and creates the hash; ok() tells whether both worked.
  Sha256Digest();
  ~Sha256Digest();
  Sha256Digest(const Sha256Digest&) = delete;
  Sha256Digest& operator=(const Sha256Digest&) = delete;

  [[nodiscard]] bool ok() const { return state_ != nullptr; }
  // Adds bytes; false when the platform refused them (the digest is then unusable).
  [[nodiscard]] bool Update(const void* data, std::size_t size);
  // The digest of everything added; false on failure. No Update may follow.
  [[nodiscard]] bool Finish(Value& out);

 private:
  struct State;  // the platform's handles, released by the destructor
  std::unique_ptr<State> state_;
};

}  // namespace orv
