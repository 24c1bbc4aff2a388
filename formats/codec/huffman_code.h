// Length-limited canonical Huffman codes for the encoders.
#pragma once

#include <cstdint>

namespace orv {

// Code lengths (0 = unused) for `count` symbols from their frequencies, none above `max_length`,
// always forming a complete code: with no used symbol, symbols 0 and 1 get length 1; with one, it
// and a neighbour get length 1. `count` is at most 512.
void BuildLimitedCodeLengths(const std::uint32_t* frequencies, unsigned count, unsigned max_length,
                             std::uint8_t* lengths);

// Canonical codes (shorter codes first, then by symbol value), most significant bit first.
void AssignCanonicalCodes(const std::uint8_t* lengths, unsigned count, std::uint16_t* codes);

}  // namespace orv
