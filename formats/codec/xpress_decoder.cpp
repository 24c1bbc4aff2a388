#include "formats/codec/xpress_decoder.h"

#include "formats/codec/byte_order.h"
#include "formats/codec/match_copy.h"

namespace orv {

bool DecodeXpressStream(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t out_size) {
  constexpr std::size_t kNoNibble = ~std::size_t{0};
  std::size_t ip = 0, op = 0;
  std::uint32_t flags = 0;
  unsigned flag_count = 0;
  std::size_t shared_nibble = kNoNibble;  // where the second half of a shared length nibble waits

  while (op < out_size) {
    if (flag_count == 0) {
      if (in_size - ip < 4) return false;
      flags = LoadLe32(in + ip);
      ip += 4;
      flag_count = 32;
    }
    --flag_count;
    if (((flags >> flag_count) & 1) == 0) {
      if (ip >= in_size) return false;
      out[op++] = in[ip++];
      continue;
    }
    if (in_size - ip < 2) return false;
    const std::uint16_t token = LoadLe16(in + ip);
    ip += 2;
    const std::size_t distance = (token >> 3) + std::size_t{1};
    std::size_t length = token & 7;
    if (length == 7) {
      if (shared_nibble == kNoNibble) {
        if (ip >= in_size) return false;
        length = in[ip] & 15;
        shared_nibble = ip++;
      } else {
        length = in[shared_nibble] >> 4;
        shared_nibble = kNoNibble;
      }
      if (length == 15) {
        if (ip >= in_size) return false;
        length = in[ip++];
        if (length == 255) {
          if (in_size - ip < 2) return false;
          length = LoadLe16(in + ip);
          ip += 2;
          if (length == 0) {
            if (in_size - ip < 4) return false;
            length = LoadLe32(in + ip);
            ip += 4;
          }
          if (length < 15 + 7) return false;
          length -= 15 + 7;
        }
        length += 15;
      }
      length += 7;
    }
    length += 3;
    if (distance > op || length > out_size - op) return false;
    CopyMatch(out + op, distance, length, out + out_size);
    op += length;
  }
  return true;
}

}  // namespace orv
