#include "update/sha256_digest.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>

namespace orv {

namespace {

struct AlgorithmClose {
  void operator()(void* provider) const { BCryptCloseAlgorithmProvider(provider, 0); }
};
struct HashDestroy {
  void operator()(void* hash) const { BCryptDestroyHash(hash); }
};

}  // namespace

// Destroyed in reverse order: the hash before its provider.
struct Sha256Digest::State {
  std::unique_ptr<void, AlgorithmClose> provider;
  std::unique_ptr<void, HashDestroy> hash;
};

Sha256Digest::Sha256Digest() {
  auto state = std::make_unique<State>();
  BCRYPT_ALG_HANDLE provider = nullptr;
  if (!BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) return;
  state->provider.reset(provider);
  // No hash-object buffer: CNG allocates it and frees it with the hash.
  BCRYPT_HASH_HANDLE hash = nullptr;
  if (!BCRYPT_SUCCESS(BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0))) return;
  state->hash.reset(hash);
  state_ = std::move(state);
}

Sha256Digest::~Sha256Digest() = default;

bool Sha256Digest::Update(const void* data, std::size_t size) {
  if (!state_) return false;
  auto* bytes = static_cast<UCHAR*>(const_cast<void*>(data));  // CNG never writes to the input
  while (size > 0) {
    const ULONG part = static_cast<ULONG>(std::min<std::size_t>(size, 0x40000000u));
    if (!BCRYPT_SUCCESS(BCryptHashData(state_->hash.get(), bytes, part, 0))) return false;
    bytes += part;
    size -= part;
  }
  return true;
}

bool Sha256Digest::Finish(Value& out) {
  return state_ && BCRYPT_SUCCESS(BCryptFinishHash(state_->hash.get(), out.data(), static_cast<ULONG>(out.size()), 0));
}

}  // namespace orv
