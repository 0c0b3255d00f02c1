// Compresses recordings with the system's zlib, which is loaded when it is needed first: the library itself
// depends only on the standard library.
#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/common/system_zlib.h"
#include "quarnex/failure.h"
#include "services/compression.h"
#include "services/threads.h"

namespace quarnex {
namespace {

// A damaged member hides what follows in it, and a new one costs what its first lines have in common with the
// last ones: on a quiet link one every ten minutes makes the file 2 % larger.
constexpr std::chrono::minutes kMemberTime{10};
constexpr std::uintmax_t kMemberBytes = std::uintmax_t{1} << 20;  // compressed
constexpr std::uintmax_t kMemberEndsBytes = 64;                   // at most, of begin and end together

constexpr std::size_t kBlock = std::size_t{16} << 10;
constexpr std::string_view kMemberBegin("\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10);  // no name, no time
constexpr int kRawDeflate = -MAX_WBITS;
constexpr int kGzip = MAX_WBITS + 16;

Failure withoutMemory() {
  return {7, "Out of memory"};
}

// The functions of zlib in use.
class Zlib {
  template <class Function>
  static Function* find(const char* name) {
    return reinterpret_cast<Function*>(zlibFunction(name));
  }
  Zlib() = default;

 public:
  static const Zlib& loaded() {
    static const Zlib only;
    return only;
  }

  decltype(&::deflateInit2_) beginDeflate = find<decltype(::deflateInit2_)>("deflateInit2_");
  decltype(&::deflate) deflate = find<decltype(::deflate)>("deflate");
  decltype(&::deflateReset) deflateReset = find<decltype(::deflateReset)>("deflateReset");
  decltype(&::deflateEnd) deflateEnd = find<decltype(::deflateEnd)>("deflateEnd");
  decltype(&::crc32) crc32 = find<decltype(::crc32)>("crc32");
  decltype(&::inflateInit2_) beginInflate = find<decltype(::inflateInit2_)>("inflateInit2_");
  decltype(&::inflate) inflate = find<decltype(::inflate)>("inflate");
  decltype(&::inflateReset) inflateReset = find<decltype(::inflateReset)>("inflateReset");
  decltype(&::inflateEnd) inflateEnd = find<decltype(::inflateEnd)>("inflateEnd");
};

const Bytef* bytesOf(const char* text) {
  return reinterpret_cast<const Bytef*>(text);
}

void appendNumber(std::string& to, std::uint32_t number) {
  for (unsigned shift = 0; shift < 32; shift += 8) to += static_cast<char>(number >> shift & 0xFFU);
}

class CompressedStorage final : public Storage {
 public:
  explicit CompressedStorage(std::unique_ptr<Storage> file) : file_(std::move(file)) {
    if (zlib_.beginDeflate(&stream_, Z_BEST_COMPRESSION, Z_DEFLATED, kRawDeflate, MAX_MEM_LEVEL,
                           Z_DEFAULT_STRATEGY, ZLIB_VERSION, sizeof stream_) != Z_OK)
      throw withoutMemory();
  }
  ~CompressedStorage() override {
    if (end().inMember) writeOut(endOfMember());
    zlib_.deflateEnd(&stream_);
  }
  CompressedStorage(const CompressedStorage&) = delete;
  CompressedStorage& operator=(const CompressedStorage&) = delete;

  std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override {
    if (bytes.empty()) return 0;
    cutTo(position);
    const bool endsMember = end().inMember && isMemberFull();
    std::string out = endsMember ? endOfMember() : "";
    End next = end();
    if (endsMember || !next.inMember) {
      next = {.text = next.text,
              .inMember = true,
              .memberBegin = next.file + out.size(),
              .memberSince = steadyNow()};
      out += kMemberBegin;
    }
    deflate(out, bytes, Z_SYNC_FLUSH);
    next.text += bytes.size();
    next.file = end().file + out.size();
    next.length += static_cast<std::uint32_t>(bytes.size());
    next.checksum = zlib_.crc32(next.checksum, bytesOf(bytes.data()), static_cast<uInt>(bytes.size()));
    if (const std::int16_t error = writeOut(out); error != 0) return error;
    ends_.push_back(next);
    if (ends_.size() > kEndsKept) ends_.erase(ends_.begin());
    return 0;
  }
  void cutTo(std::uintmax_t bytes) override {
    if (bytes >= end().text) return;
    while (ends_.size() > 1 && end().text > bytes) ends_.pop_back();
    restart();
  }
  std::uintmax_t size() override {
    if (const std::uintmax_t left = file_->size(); left < end().file) {
      ends_ = {End{0, left}};
      restart();
    }
    return end().text;
  }
  std::uintmax_t fileBytes() override { return end().file + kMemberEndsBytes; }

 private:
  // Where a write ended.
  struct End {
    std::uintmax_t text = 0, file = 0;  // bytes before it
    bool inMember = false;
    std::uintmax_t memberBegin = 0;  // in the file, like the following
    SteadyTime memberSince = {};
    std::uint32_t length = 0;  // of the text of the member, like the following
    uLong checksum = 0;
  };
  static constexpr std::size_t kEndsKept = 5;

  const End& end() const { return ends_.back(); }
  bool isMemberFull() const {
    return end().file - end().memberBegin >= kMemberBytes || steadyNow() - end().memberSince >= kMemberTime;
  }
  // Deflate needs nothing of the bytes that it has seen, so it can continue behind any write.
  void restart() {
    zlib_.deflateReset(&stream_);
    file_->cutTo(end().file);
  }
  std::int16_t writeOut(std::string_view out) {
    const std::int16_t error = file_->writeAt(end().file, out);
    if (error != 0) restart();
    return error;
  }
  std::string endOfMember() {
    std::string out;
    deflate(out, "", Z_FINISH);
    zlib_.deflateReset(&stream_);
    appendNumber(out, static_cast<std::uint32_t>(end().checksum));
    appendNumber(out, end().length);
    return out;
  }
  void deflate(std::string& out, std::string_view bytes, int flush) {
    stream_.next_in = const_cast<Bytef*>(bytesOf(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    do {
      std::array<char, kBlock> block;
      stream_.next_out = reinterpret_cast<Bytef*>(block.data());
      stream_.avail_out = static_cast<uInt>(block.size());
      zlib_.deflate(&stream_, flush);
      out.append(block.data(), block.size() - stream_.avail_out);
    } while (stream_.avail_out == 0);
  }

  const Zlib& zlib_ = Zlib::loaded();
  std::unique_ptr<Storage> file_;
  z_stream stream_{};
  std::vector<End> ends_{1};  // of the last writes, oldest first
};

// The text of a compressed stream, block by block.
class InflatingBuffer : public std::streambuf {
 public:
  explicit InflatingBuffer(std::istream& in) : in_(in) {
    if (zlib_.beginInflate(&stream_, kGzip, ZLIB_VERSION, sizeof stream_) != Z_OK) throw withoutMemory();
  }
  ~InflatingBuffer() override { zlib_.inflateEnd(&stream_); }
  InflatingBuffer(const InflatingBuffer&) = delete;
  InflatingBuffer& operator=(const InflatingBuffer&) = delete;

 protected:
  int_type underflow() override {
    for (;;) {
      if (stream_.avail_in == 0) refill();
      stream_.next_out = reinterpret_cast<Bytef*>(text_.data());
      stream_.avail_out = static_cast<uInt>(text_.size());
      const int result = zlib_.inflate(&stream_, Z_NO_FLUSH);
      if (result == Z_STREAM_END) zlib_.inflateReset(&stream_);
      if (const std::size_t count = text_.size() - stream_.avail_out; count > 0) {
        setg(text_.data(), text_.data(), text_.data() + count);
        return traits_type::to_int_type(text_.front());
      }
      if (result == Z_BUF_ERROR) return traits_type::eof();
      if (result == Z_MEM_ERROR) throw withoutMemory();
      if (result < 0)
        throw Failure(75, std::string("cannot be read: damaged in its compressed form, ") + stream_.msg);
    }
  }

 private:
  void refill() {
    in_.read(compressed_.data(), static_cast<std::streamsize>(compressed_.size()));
    if (in_.bad()) throw Failure(75, "cannot be read: the system reports an error");
    stream_.next_in = reinterpret_cast<Bytef*>(compressed_.data());
    stream_.avail_in = static_cast<uInt>(in_.gcount());
  }

  const Zlib& zlib_ = Zlib::loaded();
  std::istream& in_;
  z_stream stream_{};
  std::array<char, kBlock> compressed_;
  std::array<char, kBlock> text_;
};

class DecompressedStream final : private InflatingBuffer, public std::istream {
 public:
  explicit DecompressedStream(std::istream& file) : InflatingBuffer(file), std::istream(this) {
    exceptions(std::ios::badbit);  // passes the failures of the buffer on
  }
};

}  // namespace

void requireCompression() {
  Zlib::loaded();
}

std::unique_ptr<Storage> compressed(std::unique_ptr<Storage> file) {
  return std::make_unique<CompressedStorage>(std::move(file));
}

std::unique_ptr<std::istream> decompressed(std::istream& in) {
  return std::make_unique<DecompressedStream>(in);
}

}  // namespace quarnex
