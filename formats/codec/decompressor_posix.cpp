// Without the Compression API our decoders are the only ones.
#include "formats/codec/decompressor.h"
#include "formats/codec/decompressor_backend.h"

namespace orv {

std::unique_ptr<DecompressorBackend> CreatePlatformBackend(std::uint32_t algorithm) {
  return CreateBuiltinBackend(algorithm);
}

bool SystemDecompressorInUse() { return false; }

}  // namespace orv
