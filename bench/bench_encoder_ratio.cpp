// Our encoders' output size (and speed) against named peers on the same data:
//   XPRESS_HUFF (64 KiB streams, as ORVB blocks of that size use them) against wimlib's XPRESS;
//   MSZIP containers against zlib -9 of the whole input (one stream, no 32 KiB chunking).
#include <wimlib.h>
#include <zlib.h>

#include <cstdio>
#include <vector>

#include "bench_corpus.h"
#include "formats/codec/buffer_encode.h"
#include "formats/codec/compression_algorithm.h"
#include "formats/codec/xpress_huff_encoder.h"

using namespace orv;

namespace {

constexpr std::size_t kChunk = 65536;

// Sum of the 64 KiB streams' sizes (a stream that does not shrink counts raw).
template <typename Encode>
std::size_t ChunkedSize(const std::vector<std::uint8_t>& data, Encode&& encode) {
  std::vector<std::uint8_t> out(kChunk);
  std::size_t total = 0;
  for (std::size_t at = 0; at < data.size(); at += kChunk) {
    const std::size_t raw = std::min(kChunk, data.size() - at);
    const std::size_t n = encode(data.data() + at, raw, out.data(), raw - 1);
    total += n == 0 ? raw : n;
  }
  return total;
}

}  // namespace

int main() {
  const std::size_t size = 16u << 20;
  std::printf("Compressed size in %% of the input (smaller is better), MB/s of compression\n");
  for (const Corpus& corpus : BenchCorpora(size)) {
    const double n = static_cast<double>(corpus.data.size());
    std::printf("== %s (%.1f MB)\n", corpus.name.c_str(), n / 1e6);
    for (int level : {1, 6, 9}) {
      std::size_t ours = 0;
      const double s = BestSeconds(1, [&] {
        ours =
            ChunkedSize(corpus.data, [&](const std::uint8_t* in, std::size_t raw, std::uint8_t* out, std::size_t cap) {
              return EncodeXpressHuffStream(in, raw, out, cap, XpressHuffOptionsForLevel(level));
            });
      });
      std::printf("  ours XPRESS_HUFF level %d   %6.2f%%  %6.1f MB/s\n", level, 100.0 * ours / n, n / 1e6 / s);
    }
    for (unsigned level : {20u, 50u, 100u}) {
      wimlib_compressor* c = nullptr;
      if (wimlib_create_compressor(WIMLIB_COMPRESSION_TYPE_XPRESS, kChunk, level, &c) != 0) return 1;
      std::size_t peer = 0;
      const double s = BestSeconds(1, [&] {
        peer = ChunkedSize(corpus.data, [&](const std::uint8_t* in, std::size_t raw, std::uint8_t* out,
                                            std::size_t cap) { return wimlib_compress(in, raw, out, cap, c); });
      });
      wimlib_free_compressor(c);
      std::printf("  wimlib XPRESS level %-3u    %6.2f%%  %6.1f MB/s\n", level, 100.0 * peer / n, n / 1e6 / s);
    }
    for (int level : {6, 9}) {
      std::vector<std::uint8_t> container;
      const double s = BestSeconds(1, [&] {
        (void)EncodeBufferMode(kAlgorithmMszip, corpus.data.data(), corpus.data.size(), container,
                               EncodeOptions{level});
      });
      std::printf("  ours MSZIP level %d         %6.2f%%  %6.1f MB/s\n", level, 100.0 * container.size() / n,
                  n / 1e6 / s);
    }
    std::vector<std::uint8_t> zout(compressBound(corpus.data.size()));
    uLongf zsize = zout.size();
    const double s = BestSeconds(1, [&] {
      zsize = zout.size();
      compress2(zout.data(), &zsize, corpus.data.data(), corpus.data.size(), 9);
    });
    std::printf("  zlib -9 (one stream)       %6.2f%%  %6.1f MB/s\n", 100.0 * zsize / n, n / 1e6 / s);
  }
  return 0;
}
