// Our MSZIP container decode (32 KiB chunks, each inflated with the previous 32 KiB as dictionary)
// against zlib's plain inflate of one raw deflate stream of the same data at the same level.
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_corpus.h"
#include "formats/codec/buffer_decode.h"
#include "formats/codec/buffer_encode.h"
#include "formats/codec/compression_algorithm.h"

using namespace orv;

namespace {

std::vector<std::uint8_t> RawDeflate(const std::vector<std::uint8_t>& data, int level) {
  z_stream z{};
  deflateInit2(&z, level, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
  std::vector<std::uint8_t> out(deflateBound(&z, data.size()));
  z.next_in = const_cast<Bytef*>(data.data());
  z.avail_in = static_cast<uInt>(data.size());
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  if (deflate(&z, Z_FINISH) != Z_STREAM_END) std::abort();
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

}  // namespace

int main() {
  std::printf("MSZIP decode: our container reader against zlib inflate of one raw stream (level 6)\n");
  std::printf("%-16s %12s %12s %8s\n", "corpus", "ours MB/s", "zlib MB/s", "ratio");
  for (const Corpus& corpus : BenchCorpora(32u << 20)) {
    std::vector<std::uint8_t> container;
    if (!EncodeBufferMode(kAlgorithmMszip, corpus.data.data(), corpus.data.size(), container, EncodeOptions{6})) {
      return 1;
    }
    const std::vector<std::uint8_t> stream = RawDeflate(corpus.data, 6);
    std::vector<std::uint8_t> out(corpus.data.size());
    const double ours = BestSeconds(3, [&] {
      std::size_t decoded = 0;
      if (!DecodeBufferMode(kAlgorithmMszip, container.data(), container.size(), out.data(), out.size(), &decoded)) {
        std::abort();
      }
    });
    const double peer = BestSeconds(3, [&] {
      z_stream z{};
      inflateInit2(&z, -MAX_WBITS);
      z.next_in = const_cast<Bytef*>(stream.data());
      z.avail_in = static_cast<uInt>(stream.size());
      z.next_out = out.data();
      z.avail_out = static_cast<uInt>(out.size());
      if (inflate(&z, Z_FINISH) != Z_STREAM_END) std::abort();
      inflateEnd(&z);
    });
    const double mb = corpus.data.size() / 1e6;
    std::printf("%-16s %12.0f %12.0f %7.2fx\n", corpus.name.c_str(), mb / ours, mb / peer, peer / ours);
  }
  return 0;
}
