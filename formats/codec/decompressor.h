// The Compression API's decompressor, in buffer mode: Create (CreateDecompressor), Decompress,
// Close (CloseDecompressor, also done by the destructor).
//
// Windows: the decoders of cabinet.dll, loaded at run time; ours stand in when cabinet.dll lacks the
// API and under Wine, whose cabinet.dll exports only stubs that end the process when called.
// Elsewhere: ours, which cover MSZIP, XPRESS and XPRESS_HUFF (not LZMS).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

class DecompressorBackend;

class Decompressor {
 public:
  Decompressor();
  ~Decompressor();
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  // False when no decoder here accepts `algorithm` (the caller reports
  // "algoritmo de compressao nao suportado"). Closes a previous one first.
  [[nodiscard]] bool Create(std::uint32_t algorithm);

  // Decodes one whole buffer-mode container into `out`, which holds `capacity` bytes. True when the
  // container is valid and its decoded size fits; *decoded_size then holds that size (callers compare
  // it with what they expect). False on malformed data, a size over `capacity`, or without Create.
  [[nodiscard]] bool Decompress(const void* in, std::size_t in_size, void* out, std::size_t capacity,
                                std::size_t* decoded_size);

  void Close();
  [[nodiscard]] bool IsOpen() const { return backend_ != nullptr; }

 private:
  std::unique_ptr<DecompressorBackend> backend_;
};

// True when Decompressor uses the system's decoders (cabinet.dll on Windows, not under Wine).
[[nodiscard]] bool SystemDecompressorInUse();

}  // namespace orv
