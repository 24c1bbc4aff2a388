#include "update/sha256_digest.h"

#include <openssl/evp.h>

namespace orv {

struct Sha256Digest::State {
  struct CtxFree {
    void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
  };
  std::unique_ptr<EVP_MD_CTX, CtxFree> ctx;
};

Sha256Digest::Sha256Digest() {
  auto state = std::make_unique<State>();
  state->ctx.reset(EVP_MD_CTX_new());
  if (!state->ctx || EVP_DigestInit_ex(state->ctx.get(), EVP_sha256(), nullptr) != 1) return;
  state_ = std::move(state);
}

Sha256Digest::~Sha256Digest() = default;

bool Sha256Digest::Update(const void* data, std::size_t size) {
  return state_ && EVP_DigestUpdate(state_->ctx.get(), data, size) == 1;
}

bool Sha256Digest::Finish(Value& out) {
  unsigned int length = 0;
  return state_ && EVP_DigestFinal_ex(state_->ctx.get(), out.data(), &length) == 1 && length == out.size();
}

}  // namespace orv
