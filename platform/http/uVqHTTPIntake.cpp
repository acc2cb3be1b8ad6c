#include "platform/http/uVqHTTPIntake_p.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

namespace {

constexpr const char* kApiName = "inflate";

[[noreturn]] void RaiseUnreadable(const std::string& host) {
  throw EVqHTTPApiException(kApiName,
                            Format("The reply of \"%s\" is compressed in a way that cannot be read.", {string(host)}),
                            VqErrInvalidServerResponse);
}

}  // namespace

void VqRaiseTooLong(const std::string& host, std::uint64_t most, bool unpacked) {
  throw EVqHTTPApiException(kApiName,
                            Format(unpacked ? "The reply of \"%s\" is longer than %d bytes when unpacked."
                                            : "The reply of \"%s\" is longer than %d bytes.",
                                   {string(host), static_cast<std::int64_t>(most)}),
                            VqErrInvalidServerResponse);
}

/// gzip, with all of its members, and what is called deflate: zlib's form, or the bare one that some servers send.
struct TVqHTTPIntake::TUnpacker {
  explicit TUnpacker(bool gzip) : Gzip(gzip) {}
  ~TUnpacker() {
    if (Started) inflateEnd(&Stream);
  }
  TUnpacker(const TUnpacker&) = delete;
  TUnpacker& operator=(const TUnpacker&) = delete;

  // Which form it is shows in the first two bytes.
  bool Start(std::string_view first) {
    constexpr int window = 15, withGzip = 16;
    const auto a = static_cast<unsigned char>(first[0]), b = static_cast<unsigned char>(first[1]);
    const bool zlib = (a & 0x0F) == Z_DEFLATED && (a << 8 | b) % 31 == 0;
    Started = inflateInit2(&Stream, Gzip ? window + withGzip : zlib ? window : -window) == Z_OK;
    return Started;
  }

  bool Gzip;
  bool Started = false;
  bool Ended = false;    // the last member is whole ...
  bool Padding = false;  // ... and what stands behind it means nothing
  std::string Held;      // the first byte, until the second is there
  z_stream Stream = {};
};

TVqHTTPIntake::TVqHTTPIntake() = default;
TVqHTTPIntake::~TVqHTTPIntake() = default;

void TVqHTTPIntake::Begin(std::string_view host, std::string_view encoding, const TVqHTTPLimits& limits, bool kept) {
  FHost = host;
  FLimits = limits;
  FKept = kept;
  FPacked = FUnpacked = 0;
  FUnpacker.reset();
  encoding = VqTrimBlanks(encoding);
  if (encoding.empty() || VqSameAscii(encoding, "identity")) return;
  const bool gzip = VqSameAscii(encoding, "gzip") || VqSameAscii(encoding, "x-gzip");
  if (!gzip && !VqSameAscii(encoding, "deflate")) {
    constexpr std::size_t most = 60;
    throw EVqHTTPApiException(kApiName,
                              Format("The reply of \"%s\" is encoded as \"%s\", which was not asked for.",
                                     {string(host), string(encoding.substr(0, most))}),
                              VqErrInvalidServerResponse);
  }
  FUnpacker = std::make_unique<TUnpacker>(gzip);
}

void TVqHTTPIntake::Take(std::string_view bytes, const TSink& sink) {
  FPacked += bytes.size();
  if (FKept && FLimits.ReplyBytes != 0 && FPacked > FLimits.ReplyBytes) {
    VqRaiseTooLong(FHost, FLimits.ReplyBytes, false);
  }
  if (!FUnpacker) return Pass(bytes, sink);

  TUnpacker& unpacker = *FUnpacker;
  std::string joined;
  if (!unpacker.Started) {
    unpacker.Held.append(bytes);
    if (unpacker.Held.size() < 2) return;
    joined = std::exchange(unpacker.Held, {});
    bytes = joined;
    if (!unpacker.Start(bytes))
      throw EVqHTTPApiException(kApiName, "There is not enough memory.", VqErrNotEnoughMemory);
  }
  z_stream& stream = unpacker.Stream;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::array<char, 32768> room;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by inflate
  do {
    if (unpacker.Ended) {
      if (stream.avail_in == 0) return;
      // Behind a member stands another one, or the zeros of a tape's last block.
      unpacker.Padding = unpacker.Padding || *stream.next_in == 0;
      if (unpacker.Padding) return;
      if (!unpacker.Gzip || inflateReset(&stream) != Z_OK) RaiseUnreadable(FHost);
      unpacker.Ended = false;
    }
    stream.next_out = reinterpret_cast<Bytef*>(room.data());
    stream.avail_out = static_cast<uInt>(room.size());
    const int result = inflate(&stream, Z_NO_FLUSH);
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) RaiseUnreadable(FHost);
    unpacker.Ended = result == Z_STREAM_END;
    Pass({room.data(), room.size() - stream.avail_out}, sink);
  } while (stream.avail_in > 0 || stream.avail_out == 0);
}

void TVqHTTPIntake::Pass(std::string_view bytes, const TSink& sink) {
  if (bytes.empty()) return;
  FUnpacked += bytes.size();
  if (FKept && FUnpacker) {
    if (FLimits.UnpackedBytes != 0 && FUnpacked > FLimits.UnpackedBytes)
      VqRaiseTooLong(FHost, FLimits.UnpackedBytes, true);
    if (FLimits.UnpackRatio != 0 && FUnpacked > FLimits.UnpackRatioFloor && FUnpacked / FLimits.UnpackRatio > FPacked) {
      throw EVqHTTPApiException(
          kApiName,
          Format("The reply of \"%s\" unpacks to more than %d times its size.", {string(FHost), FLimits.UnpackRatio}),
          VqErrInvalidServerResponse);
    }
  }
  sink(bytes);
}

void TVqHTTPIntake::End() {
  // A reply may say that it is packed and have no body at all: to HEAD, with a status of 204.
  if (!FUnpacker || FPacked == 0 || FUnpacker->Ended) return;
  throw EVqHTTPApiException(kApiName, Format("The compressed reply of \"%s\" ends in the middle.", {string(FHost)}),
                            VqErrConnectionAborted);
}

}  // namespace velmore
