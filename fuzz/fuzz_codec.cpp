// Feeds arbitrary bytes to the buffer-mode container reader and to each decoder on its own, and
// checks that what our encoders write decodes back to its input. The first byte picks the mode:
//   0 container (its CRC byte repaired, so the chunks get explored), algorithm from byte 1
//   1 XPRESS_HUFF stream, 2 plain XPRESS stream, 3 MSZIP chunk after some history
//   4 round trip of the rest through the MSZIP or XPRESS_HUFF container writer
// Output sizes come from bytes 2..4 and stay under 1 MiB.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "formats/codec/buffer_decode.h"
#include "formats/codec/buffer_encode.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/mszip_decoder.h"
#include "formats/codec/xpress_decoder.h"
#include "formats/codec/xpress_huff_decoder.h"

using namespace orv;

namespace {

void RepairCheckByte(std::vector<std::uint8_t>& c) {
  if (c.size() < 24) return;
  uLong crc = crc32(0L, c.data(), 6);
  crc = crc32(crc, c.data() + 7, 17);
  c[6] = static_cast<std::uint8_t>(crc);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 5) return 0;
  const unsigned mode = data[0] % 5;
  const std::uint32_t algorithm = kAlgorithmMszip + data[1] % 3;
  const std::size_t out_size = (data[2] | (data[3] << 8) | ((data[4] & 0x0F) << 16)) + 1;
  const std::uint8_t* in = data + 5;
  const std::size_t in_size = size - 5;
  std::vector<std::uint8_t> out(out_size);

  switch (mode) {
    case 0: {
      std::vector<std::uint8_t> container(in, in + in_size);
      if ((data[1] & 0x80) == 0) RepairCheckByte(container);
      std::size_t decoded = 0;
      if (DecodeBufferMode(algorithm, container.data(), container.size(), out.data(), out.size(), &decoded) &&
          decoded > out.size()) {
        std::abort();
      }
      break;
    }
    case 1: (void)DecodeXpressHuffStream(in, in_size, out.data(), out.size()); break;
    case 2: (void)DecodeXpressStream(in, in_size, out.data(), out.size()); break;
    case 3: {
      // The history is the first part of the output, the chunk decodes behind it.
      MszipDecoder decoder;
      const std::size_t history = out_size / 2;
      for (std::size_t i = 0; i < history; ++i) out[i] = static_cast<std::uint8_t>(i * 7);
      (void)decoder.DecodeChunk(in, in_size, out.data(), history, out_size - history);
      break;
    }
    default: {
      const std::uint32_t writer = (data[1] & 1) ? kAlgorithmXpressHuff : kAlgorithmMszip;
      std::vector<std::uint8_t> container;
      if (!EncodeBufferMode(writer, in, in_size, container, EncodeOptions{1 + data[2] % 9})) std::abort();
      std::vector<std::uint8_t> back(in_size + 1);
      std::size_t decoded = 0;
      if (!DecodeBufferMode(writer, container.data(), container.size(), back.data(), back.size(), &decoded) ||
          decoded != in_size || (in_size > 0 && std::memcmp(back.data(), in, in_size) != 0)) {
        std::abort();
      }
      break;
    }
  }
  return 0;
}
