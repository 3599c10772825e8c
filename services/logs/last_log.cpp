#include "services/logs/last_log.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "common/log.h"

namespace {

/// A stream that is ended whatever comes.
class Inflater {
 public:
  Inflater() : begun_(inflateInit(&stream_)) {}
  ~Inflater() {
    // There is nothing to be flushed, and what was not begun needs no end.
    static_cast<void>(inflateEnd(&stream_));
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  int begun() const { return begun_; }
  z_stream& stream() { return stream_; }

 private:
  z_stream stream_{};
  int begun_;
};

uInt cut(size_t size) {
  return static_cast<uInt>(std::min<size_t>(size, std::numeric_limits<uInt>::max()));
}

/// Inflates one chunk. @return the bytes that it adds
size_t inflate_chunk(std::string_view chunk, char* out, size_t size) {
  Inflater inflater;
  if (inflater.begun() != Z_OK) {
    DOMAIN_INFO("Inflate init error : %d\n", inflater.begun());
    DOMAIN_INFO("util decomp fail flag\n");
    return 0;
  }
  z_stream& stream = inflater.stream();
  // zlib only reads there.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(chunk.data()));
  stream.avail_in = cut(chunk.size());
  stream.next_out = reinterpret_cast<Bytef*>(out);
  stream.avail_out = cut(size);
  const int code = inflate(&stream, Z_FINISH);
  if (code == Z_OK || code == Z_STREAM_END || code == Z_BUF_ERROR) return stream.total_out;
  DOMAIN_INFO("Inflate error : %d %s \n", code == Z_MEM_ERROR ? Z_MEM_ERROR : Z_DATA_ERROR,
              "zlib_decompress");
  DOMAIN_INFO("util decomp fail flag\n");
  return 0;
}

/// Takes a number off the record; 0 when there is none left.
int32_t take_number(std::string_view& record) {
  int32_t number = 0;
  if (record.size() < sizeof number) return 0;
  memcpy(&number, record.data(), sizeof number);
  record.remove_prefix(sizeof number);
  return number;
}

}  // namespace

size_t fcx::inflate_last_log(std::string_view record, char* out, size_t size) {
  if (take_number(record) < 1) return 0;
  size_t done = 0;
  while (done < size) {
    const int32_t length = take_number(record);
    if (length < 1 || static_cast<size_t>(length) > record.size()) break;
    const auto chunk = static_cast<size_t>(length);
    done += inflate_chunk(record.substr(0, chunk), out + done, size - done);
    record.remove_prefix(chunk);
  }
  return done;
}
