#include "formats/codec/decompressor.h"

#include "formats/codec/decompressor_backend.h"

namespace orv {

Decompressor::Decompressor() = default;
Decompressor::~Decompressor() = default;

bool Decompressor::Create(std::uint32_t algorithm) {
  Close();
  backend_ = CreatePlatformBackend(algorithm);
  return backend_ != nullptr;
}

bool Decompressor::Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                              std::size_t* decoded_size) {
  *decoded_size = 0;
  if (!backend_) return false;
  return backend_->Decompress(in, in_size, out, capacity, decoded_size);
}

void Decompressor::Close() { backend_.reset(); }

}  // namespace orv
