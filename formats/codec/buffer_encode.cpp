#include "formats/codec/buffer_encode.h"

#include <cstring>
#include <new>

#include "formats/codec/buffer_container.h"
#include "formats/codec/byte_order.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/mszip_encoder.h"
#include "formats/codec/xpress_huff_encoder.h"

namespace orv {

bool BuiltinEncoderSupports(std::uint32_t algorithm) {
  return algorithm == kAlgorithmMszip || algorithm == kAlgorithmXpressHuff;
}

namespace {

// Chunk k holds min(block, left) bytes; the caller has sized `out` for the worst case, where every
// chunk is stored raw behind its 4-byte length.
template <typename EncodeChunk>
std::size_t WriteChunks(const std::uint8_t* in, std::size_t size, std::size_t block, std::uint8_t* out,
                        EncodeChunk&& encode) {
  std::size_t op = kContainerHeaderSize;
  for (std::size_t start = 0; start < size; start += block) {
    const std::size_t raw = size - start < block ? size - start : block;
    std::uint8_t* const chunk = out + op + kContainerChunkPrefix;
    // Only a strictly smaller encoding is kept: equal sizes mean "raw" to the decoder.
    std::size_t packed = encode(start, raw, chunk, raw - 1);
    if (packed == 0 || packed >= raw) {
      std::memcpy(chunk, in + start, raw);
      packed = raw;
    }
    StoreLe32(out + op, static_cast<std::uint32_t>(packed));
    op += kContainerChunkPrefix + packed;
  }
  return op;
}

}  // namespace

bool EncodeBufferMode(std::uint32_t algorithm, const void* in_bytes, std::size_t size, std::vector<std::uint8_t>& out,
                      const EncodeOptions& options) {
  if (!BuiltinEncoderSupports(algorithm)) return false;
  const auto* in = static_cast<const std::uint8_t*>(in_bytes);
  const std::size_t block =
      static_cast<std::size_t>(algorithm == kAlgorithmMszip ? kMszipContainerBlock : kXpressHuffContainerBlock);
  const std::size_t chunks = (size + block - 1) / block;
  try {
    out.resize(kContainerHeaderSize + chunks * kContainerChunkPrefix + size);
  } catch (const std::bad_alloc&) {
    return false;
  }

  ContainerHeader header;
  header.algorithm = algorithm;
  header.total_size = size;
  header.block_size = size < block ? size : block;
  WriteContainerHeader(out.data(), header);

  std::size_t written = 0;
  if (algorithm == kAlgorithmMszip) {
    MszipEncoder encoder(options.level);
    if (!encoder.Ready()) return false;
    bool previous_raw = false;
    written =
        WriteChunks(in, size, block, out.data(),
                    [&](std::size_t start, std::size_t raw, std::uint8_t* dst, std::size_t capacity) -> std::size_t {
                      // After a raw chunk no dictionary is used: whether a decoder keeps raw chunks in its history
                      // is not ours to know, and a chunk without references decodes either way.
                      const std::size_t dictionary = (start == 0 || previous_raw) ? 0 : (start < 32768 ? start : 32768);
                      const std::size_t packed =
                          encoder.EncodeChunk(in + start - dictionary, dictionary, in + start, raw, dst, capacity);
                      previous_raw = packed == 0 || packed >= raw;
                      return packed;
                    });
  } else {
    const XpressHuffEncoderOptions xpress = XpressHuffOptionsForLevel(options.level);
    written = WriteChunks(in, size, block, out.data(),
                          [&](std::size_t start, std::size_t raw, std::uint8_t* dst, std::size_t capacity) {
                            return EncodeXpressHuffStream(in + start, raw, dst, capacity, xpress);
                          });
  }
  out.resize(written);
  return true;
}

}  // namespace orv
