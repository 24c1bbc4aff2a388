// Our XPRESS_HUFF decoder against wimlib's XPRESS decoder on the same 64 KiB streams (wimlib's
// compressor makes them, so neither side decodes its own encoder's habits). Goal: at least as fast.
#include <wimlib.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_corpus.h"
#include "formats/codec/xpress_huff_decoder.h"

using namespace orv;

namespace {

constexpr std::size_t kChunk = 65536;

struct Stream {
  std::vector<std::uint8_t> bytes;
  std::size_t raw_size;
};

}  // namespace

int main() {
  wimlib_compressor* compressor = nullptr;
  wimlib_decompressor* decompressor = nullptr;
  if (wimlib_create_compressor(WIMLIB_COMPRESSION_TYPE_XPRESS, kChunk, 0, &compressor) != 0 ||
      wimlib_create_decompressor(WIMLIB_COMPRESSION_TYPE_XPRESS, kChunk, &decompressor) != 0) {
    std::fprintf(stderr, "wimlib unavailable\n");
    return 1;
  }
  std::printf("XPRESS_HUFF decode, 64 KiB streams made by wimlib's compressor (default level)\n");
  std::printf("%-16s %12s %12s %8s\n", "corpus", "ours MB/s", "wimlib MB/s", "ratio");
  double ours_total = 0, peer_total = 0;
  for (const Corpus& corpus : BenchCorpora(32u << 20)) {
    std::vector<Stream> streams;
    for (std::size_t at = 0; at < corpus.data.size(); at += kChunk) {
      const std::size_t raw = std::min(kChunk, corpus.data.size() - at);
      Stream s{std::vector<std::uint8_t>(raw), raw};
      const std::size_t n = wimlib_compress(corpus.data.data() + at, raw, s.bytes.data(), raw, compressor);
      if (n == 0) continue;  // stored, not a decoder's work
      s.bytes.resize(n);
      streams.push_back(std::move(s));
    }
    std::size_t bytes = 0;
    for (const Stream& s : streams) bytes += s.raw_size;
    std::vector<std::uint8_t> out(kChunk);
    const double ours = BestSeconds(5, [&] {
      for (const Stream& s : streams) {
        if (!DecodeXpressHuffStream(s.bytes.data(), s.bytes.size(), out.data(), s.raw_size)) std::abort();
      }
    });
    const double peer = BestSeconds(5, [&] {
      for (const Stream& s : streams) {
        if (wimlib_decompress(s.bytes.data(), s.bytes.size(), out.data(), s.raw_size, decompressor) != 0) std::abort();
      }
    });
    const double mb = bytes / 1e6;
    std::printf("%-16s %12.0f %12.0f %7.2fx\n", corpus.name.c_str(), mb / ours, mb / peer, peer / ours);
    ours_total += ours;
    peer_total += peer;
  }
  std::printf("overall: ours takes %.2fx wimlib's time (below 1 is faster)\n", ours_total / peer_total);
  wimlib_free_compressor(compressor);
  wimlib_free_decompressor(decompressor);
  return 0;
}
