// MSZIP chunk encoding with zlib's raw deflate: "CK", then a deflate stream ending in a final block.
// The Compression API's decoder accepts zlib's output only with memLevel 9, and reads each chunk with
// the previous 32 KiB of output as its dictionary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

class MszipEncoder {
 public:
  // `level` is zlib's, 1 to 9.
  explicit MszipEncoder(int level);
  ~MszipEncoder();
  MszipEncoder(const MszipEncoder&) = delete;
  MszipEncoder& operator=(const MszipEncoder&) = delete;

  [[nodiscard]] bool Ready() const;
  // Encodes `size` bytes with `dictionary` (up to 32 KiB, may be empty) into `out`. Returns the
  // chunk's size, or 0 when it does not fit in `capacity` bytes.
  [[nodiscard]] std::size_t EncodeChunk(const std::uint8_t* dictionary, std::size_t dictionary_size,
                                        const std::uint8_t* in, std::size_t size, std::uint8_t* out,
                                        std::size_t capacity);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orv
