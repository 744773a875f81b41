#include "inflate.h"

#include <qv/host.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>

namespace qvcmsd {
namespace {

constexpr int kGzipWindow = 15 + 16;  ///< the largest window, and the header of gzip

/// Ends the use of a zlib stream.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&stream_, kGzipWindow) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  z_stream& stream() { return stream_; }

 private:
  z_stream stream_{};
};

qv::Refusal Unreadable(const std::string& reason) { return {qv::RefusalCode::UnreadableDocument, reason}; }

}  // namespace

std::string Inflate(std::string_view compressed, std::size_t limit) {
  Inflater inflater;
  z_stream& stream = inflater.stream();
  if (compressed.size() > std::numeric_limits<uInt>::max()) throw Unreadable("the body is too large");
  // zlib reads from it only; its interface is older than const.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(compressed.size());
  std::string text;
  std::array<char, std::size_t{64} * 1024> piece{};
  for (int state = Z_OK; state != Z_STREAM_END;) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    state = inflate(&stream, Z_NO_FLUSH);
    const std::size_t got = piece.size() - stream.avail_out;
    if (state != Z_OK && state != Z_STREAM_END) throw Unreadable("the body is no whole gzip file");
    if (got > limit - text.size()) {
      throw Unreadable("the document is larger than " + std::to_string(limit) + " bytes");
    }
    text.append(piece.data(), got);
  }
  if (stream.avail_in > 0) throw Unreadable("something follows the gzip file");
  return text;
}

}  // namespace qvcmsd
