#include "gzip.h"

#include <qv/host.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>

namespace qvcmsd {
namespace {

constexpr int kGzipWindow = 15 + 16;  ///< the largest window, and the header of gzip

/// A zlib stream that reads `input`, and what ends its use.
struct Stream : z_stream {
  Stream(std::string_view input, int (*end)(z_stream*)) : z_stream{}, end(end) {
    // zlib reads from it only; its interface is older than const.
    next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    avail_in = static_cast<uInt>(input.size());
  }
  ~Stream() { end(this); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  int (*const end)(z_stream*);
};

qv::Refusal Unreadable(const std::string& reason) { return {qv::RefusalCode::UnreadableDocument, reason}; }

}  // namespace

std::string Inflate(std::string_view compressed, std::size_t limit) {
  if (compressed.size() > std::numeric_limits<uInt>::max()) throw Unreadable("the body is too large");
  Stream stream(compressed, &inflateEnd);
  if (inflateInit2(&stream, kGzipWindow) != Z_OK) throw std::bad_alloc();
  std::string text;
  std::array<char, std::size_t{64} * 1024> piece{};
  for (int state = Z_OK; state != Z_STREAM_END;) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    state = inflate(&stream, Z_NO_FLUSH);
    const std::size_t got = piece.size() - stream.avail_out;
    if (state != Z_OK && state != Z_STREAM_END) throw Unreadable("the body is no whole gzip file");
    if (got > limit - text.size()) {
      throw qv::Refusal(qv::RefusalCode::DocumentTooLarge, "larger than " + std::to_string(limit) + " bytes");
    }
    text.append(piece.data(), got);
  }
  if (stream.avail_in > 0) throw Unreadable("something follows the gzip file");
  return text;
}

std::string Deflate(std::string_view text) {
  constexpr int kMemory = 8;  ///< zlib's own choice
  Stream stream(text, &deflateEnd);
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzipWindow, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string compressed(deflateBound(&stream, stream.avail_in), '\0');
  stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
  stream.avail_out = static_cast<uInt>(compressed.size());
  deflate(&stream, Z_FINISH);
  compressed.resize(stream.total_out);
  return compressed;
}

}  // namespace qvcmsd
