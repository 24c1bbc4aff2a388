#include "formats/codec/buffer_decode.h"

#include <cstring>
#include <new>

#include "formats/codec/buffer_container.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/decompressor_backend.h"
#include "formats/codec/mszip_decoder.h"
#include "formats/codec/xpress_decoder.h"
#include "formats/codec/xpress_huff_decoder.h"

namespace orv {

bool BuiltinDecoderSupports(std::uint32_t algorithm) {
  return algorithm == kAlgorithmMszip || algorithm == kAlgorithmXpress || algorithm == kAlgorithmXpressHuff;
}

namespace {

bool DecodeContainer(std::uint32_t algorithm, MszipDecoder* mszip, const std::uint8_t* in, std::size_t in_size,
                     std::uint8_t* out, std::size_t capacity, std::size_t* decoded_size) {
  *decoded_size = 0;
  ContainerHeader header;
  if (!ParseContainerHeader(in, in_size, header) || header.algorithm != algorithm) return false;
  if (header.total_size > SIZE_MAX) return false;
  *decoded_size = static_cast<std::size_t>(header.total_size);
  if (header.total_size > capacity) return false;

  const auto total = static_cast<std::size_t>(header.total_size);
  std::size_t ip = kContainerHeaderSize;
  std::size_t op = 0;
  while (op < total) {
    if (in_size - ip < kContainerChunkPrefix) return false;
    const std::size_t packed = LoadLe32(in + ip);
    ip += kContainerChunkPrefix;
    if (packed > in_size - ip) return false;
    const std::size_t left = total - op;
    const std::size_t raw = header.block_size < left ? static_cast<std::size_t>(header.block_size) : left;
    const std::uint8_t* chunk = in + ip;
    bool ok = false;
    if (packed == raw) {
      std::memcpy(out + op, chunk, raw);
      ok = true;
    } else if (algorithm == kAlgorithmXpressHuff) {
      ok = DecodeXpressHuffStream(chunk, packed, out + op, raw);
    } else if (algorithm == kAlgorithmXpress) {
      ok = DecodeXpressStream(chunk, packed, out + op, raw);
    } else if (algorithm == kAlgorithmMszip && mszip != nullptr) {
      ok = mszip->DecodeChunk(chunk, packed, out, op, raw);
    }
    if (!ok) return false;
    ip += packed;
    op += raw;
  }
  return true;
}

class BuiltinBackend final : public DecompressorBackend {
 public:
  explicit BuiltinBackend(std::uint32_t algorithm) : algorithm_(algorithm) {}

  bool Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                  std::size_t* decoded_size) override {
    if (algorithm_ == kAlgorithmMszip && !mszip_) {
      mszip_.reset(new (std::nothrow) MszipDecoder);
      if (!mszip_ || !mszip_->Ready()) {
        mszip_.reset();
        *decoded_size = 0;
        return false;
      }
    }
    return DecodeContainer(algorithm_, mszip_.get(), static_cast<const std::uint8_t*>(in), in_size,
                           static_cast<std::uint8_t*>(out), capacity, decoded_size);
  }

 private:
  std::uint32_t algorithm_;
  std::unique_ptr<MszipDecoder> mszip_;  // made on first use, kept for the next containers
};

}  // namespace

bool DecodeBufferMode(std::uint32_t algorithm, const void* in, std::size_t in_size, void* out, std::size_t capacity,
                      std::size_t* decoded_size) {
  if (!BuiltinDecoderSupports(algorithm)) {
    *decoded_size = 0;
    return false;
  }
  MszipDecoder mszip;
  return DecodeContainer(algorithm, &mszip, static_cast<const std::uint8_t*>(in), in_size,
                         static_cast<std::uint8_t*>(out), capacity, decoded_size);
}

std::unique_ptr<DecompressorBackend> CreateBuiltinBackend(std::uint32_t algorithm) {
  if (!BuiltinDecoderSupports(algorithm)) return nullptr;
  return std::unique_ptr<DecompressorBackend>(new (std::nothrow) BuiltinBackend(algorithm));
}

}  // namespace orv
