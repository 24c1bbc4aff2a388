// MSZIP chunk decoding: "CK" followed by a raw deflate stream whose last block is final. Every chunk
// of a container may refer to the 32 KiB of output before it, whatever chunk produced them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

class MszipDecoder {
 public:
  MszipDecoder();
  ~MszipDecoder();
  MszipDecoder(const MszipDecoder&) = delete;
  MszipDecoder& operator=(const MszipDecoder&) = delete;

  // False when the inflate state could not be set up (out of memory).
  [[nodiscard]] bool Ready() const;
  // Decodes one chunk into exactly `out_size` bytes at out_begin + out_pos; the bytes before out_pos
  // (the last 32 KiB of them) are the dictionary.
  [[nodiscard]] bool DecodeChunk(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out_begin,
                                 std::size_t out_pos, std::size_t out_size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orv
