#include "formats/codec/mszip_encoder.h"

#include <zlib.h>

#include <climits>
#include <new>

namespace orv {

struct MszipEncoder::State {
  z_stream stream{};
  bool initialised = false;
  ~State() {
    if (initialised) deflateEnd(&stream);
  }
};

MszipEncoder::MszipEncoder(int level) : state_(new (std::nothrow) State) {
  if (!state_) return;
  if (level < 1) level = 1;
  if (level > 9) level = 9;
  if (deflateInit2(&state_->stream, level, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY) == Z_OK) {
    state_->initialised = true;
  }
}

MszipEncoder::~MszipEncoder() = default;

bool MszipEncoder::Ready() const { return state_ && state_->initialised; }

std::size_t MszipEncoder::EncodeChunk(const std::uint8_t* dictionary, std::size_t dictionary_size,
                                      const std::uint8_t* in, std::size_t size, std::uint8_t* out,
                                      std::size_t capacity) {
  if (!Ready() || capacity < 3 || size > UINT_MAX || dictionary_size > 32 * 1024) return 0;
  z_stream& z = state_->stream;
  if (deflateReset(&z) != Z_OK) return 0;
  if (dictionary_size > 0 && deflateSetDictionary(&z, dictionary, static_cast<uInt>(dictionary_size)) != Z_OK) {
    return 0;
  }
  out[0] = 'C';
  out[1] = 'K';
  const std::size_t room = capacity - 2;
  z.next_in = const_cast<Bytef*>(in);
  z.avail_in = static_cast<uInt>(size);
  z.next_out = out + 2;
  z.avail_out = static_cast<uInt>(room > UINT_MAX ? UINT_MAX : room);
  if (deflate(&z, Z_FINISH) != Z_STREAM_END) return 0;
  return 2 + static_cast<std::size_t>(z.total_out);
}

}  // namespace orv
