#include "formats/codec/mszip_decoder.h"

#include <zlib.h>

#include <climits>
#include <new>

namespace orv {

namespace {
constexpr std::size_t kWindow = 32 * 1024;
}

struct MszipDecoder::State {
  z_stream stream{};
  bool initialised = false;
  ~State() {
    if (initialised) inflateEnd(&stream);
  }
};

MszipDecoder::MszipDecoder() : state_(new (std::nothrow) State) {
  if (state_ && inflateInit2(&state_->stream, -MAX_WBITS) == Z_OK) state_->initialised = true;
}

MszipDecoder::~MszipDecoder() = default;

bool MszipDecoder::Ready() const { return state_ && state_->initialised; }

bool MszipDecoder::DecodeChunk(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out_begin,
                               std::size_t out_pos, std::size_t out_size) {
  if (!Ready()) return false;
  if (in_size < 2 || in[0] != 'C' || in[1] != 'K') return false;
  // zlib counts in 32-bit units; container chunks of MSZIP are far smaller.
  if (in_size - 2 > UINT_MAX || out_size > UINT_MAX) return false;
  z_stream& z = state_->stream;
  if (inflateReset(&z) != Z_OK) return false;
  if (out_pos > 0) {
    const std::size_t dict = out_pos < kWindow ? out_pos : kWindow;
    if (inflateSetDictionary(&z, out_begin + out_pos - dict, static_cast<uInt>(dict)) != Z_OK) return false;
  }
  z.next_in = const_cast<Bytef*>(in + 2);
  z.avail_in = static_cast<uInt>(in_size - 2);
  z.next_out = out_begin + out_pos;
  z.avail_out = static_cast<uInt>(out_size);
  const int rc = inflate(&z, Z_FINISH);
  // The chunk's deflate stream must end exactly when the chunk's output is complete.
  return rc == Z_STREAM_END && z.avail_out == 0;
}

}  // namespace orv
