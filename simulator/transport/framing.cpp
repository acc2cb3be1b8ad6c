#include "simulator/transport/framing.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>

namespace velmore::simulator {

namespace {

std::string Compress(const std::string& body) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
  std::string out(deflateBound(&stream, static_cast<uLong>(body.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return result == Z_STREAM_END ? out : std::string();
}

/// A body as chunks of a size, end included.
std::string Chunked(std::string_view body, std::size_t size) {
  std::string out;
  for (std::size_t at = 0; at < body.size(); at += size) out += ChunkOf(body.substr(at, size));
  out += kLastChunk;
  return out;
}

const char* Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 301:
      return "Moved Permanently";
    case 302:
      return "Found";
    case 307:
      return "Temporary Redirect";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 407:
      return "Proxy Authentication Required";
    case 413:
      return "Payload Too Large";
    case 415:
      return "Unsupported Media Type";
    case 429:
      return "Too Many Requests";
    case 440:
      return "Login Timeout";
    case 500:
      return "Internal Server Error";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "Status";
  }
}

}  // namespace

std::string ChunkOf(std::string_view bytes) {
  std::array<char, 20> size{};
  std::snprintf(size.data(), size.size(), "%zx\r\n", bytes.size());
  std::string out = size.data();
  out += bytes;
  out += "\r\n";
  return out;
}

Framed Frame(HttpResponse& response, const HttpRequest* request, const HttpSettings& settings) {
  Framed framed;
  std::string& head = framed.head;
  head = "HTTP/1.1 " + std::to_string(response.status) + " " + Reason(response.status) + "\r\n";
  const std::string* accepted = request != nullptr ? request->Header("Accept-Encoding") : nullptr;
  framed.body = std::move(response.body);
  if (settings.gzip && response.may_compress && accepted != nullptr && accepted->find("gzip") != std::string::npos &&
      framed.body.size() > 512 && framed.body.size() < 0x7fffffffu) {
    std::string compressed = Compress(framed.body);
    if (!compressed.empty()) {
      framed.body = std::move(compressed);
      head += "Content-Encoding: gzip\r\nVary: Accept-Encoding\r\n";
    }
  }
  for (const auto& [name, value] : response.headers) head += name + ": " + value + "\r\n";
  const bool may_chunk = request != nullptr && request->may_chunk;
  framed.chunked = may_chunk && (settings.chunk_bytes > 0 || response.stream);
  if (framed.chunked)
    head += "Transfer-Encoding: chunked\r\n";
  else if (!response.stream)
    head += "Content-Length: " + std::to_string(framed.body.size()) + "\r\n";
  if (response.announce_close) head += "Connection: close\r\n";
  head += "\r\n";
  if (response.stream || (request != nullptr && request->method == "HEAD"))
    framed.body.clear();
  else if (framed.chunked)
    framed.body = Chunked(framed.body, settings.chunk_bytes);
  return framed;
}

bool Outgoing::CutAt(std::uint64_t size) {
  if (size >= end_) return false;
  end_ = static_cast<std::size_t>(size);
  return true;
}

std::array<std::string_view, 2> Outgoing::Next(std::size_t most) {
  std::array<std::string_view, 2> parts;
  std::size_t left = std::min(most, end_ - at_);
  if (at_ < head_.size()) {
    parts[0] = std::string_view(head_).substr(at_, left);
    at_ += parts[0].size();
    left -= parts[0].size();
  }
  if (left > 0) {
    parts[1] = std::string_view(body_).substr(at_ - head_.size(), left);
    at_ += parts[1].size();
  }
  return parts;
}

}  // namespace velmore::simulator
