// Our reader of buffer-mode containers (see buffer_container.h) with the MSZIP, XPRESS and
// XPRESS_HUFF decoders behind it. The same checks as the Compression API's Decompress: the header
// must be valid and name `algorithm`, the decoded size must fit `capacity`, every chunk must decode to
// exactly its size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv {

// True for the algorithms our decoders cover (MSZIP, XPRESS, XPRESS_HUFF).
[[nodiscard]] bool BuiltinDecoderSupports(std::uint32_t algorithm);

// Decodes one whole container. *decoded_size receives the header's total size once the header is
// valid (also when it does not fit), else 0. Bytes after the last chunk are ignored.
[[nodiscard]] bool DecodeBufferMode(std::uint32_t algorithm, const void* in, std::size_t in_size, void* out,
                                    std::size_t capacity, std::size_t* decoded_size);

}  // namespace orv
