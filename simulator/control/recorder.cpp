#include "simulator/control/recorder.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

namespace {

// A run with large attachments must not fill the memory with what was recorded of them.
constexpr std::size_t kMaxBytes = 256u << 20;

void Mask(std::vector<std::pair<std::string, std::string>>& headers) {
  for (auto& [name, value] : headers) {
    const std::string lower = Lower(name);
    if (lower == "authorization" || lower == "proxy-authorization") {
      const std::size_t blank = value.find(' ');
      value = (blank == std::string::npos ? std::string() : value.substr(0, blank) + " ") + "****";
    } else if (lower == "cookie" || lower == "set-cookie") {
      const std::size_t equals = value.find('=');
      value = (equals == std::string::npos ? std::string() : value.substr(0, equals + 1)) + "****";
    }
  }
}

/// Fields of a form that hold secrets.
void MaskForm(std::string& body) {
  for (const char* field : {"client_secret=", "password=", "refresh_token=", "code=", "code_verifier="}) {
    std::size_t at = 0;
    while ((at = body.find(field, at)) != std::string::npos) {
      at += std::string_view(field).size();
      const std::size_t end = std::min(body.find('&', at), body.size());
      body.replace(at, end - at, "****");
    }
  }
}

void WriteFile(const std::filesystem::path& path, const std::string& first_line,
               const std::vector<std::pair<std::string, std::string>>& headers, const std::string& body) {
  std::ofstream out(path, std::ios::binary);
  out << first_line << "\n";
  for (const auto& [name, value] : headers) out << name << ": " << value << "\n";
  out << "\n" << ReadableBody(body);
}

}  // namespace

std::string ReadableBody(const std::string& body) {
  if (body.empty() || body.size() > (8u << 20) || body.find('<') == std::string::npos) return body;
  xmlDocPtr document = xmlReadMemory(body.data(), static_cast<int>(body.size()), nullptr, nullptr,
                                     XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET);
  if (document == nullptr) return body;
  xmlChar* text = nullptr;
  int length = 0;
  xmlDocDumpFormatMemoryEnc(document, &text, &length, "utf-8", 1);
  std::string out(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
  xmlFree(text);
  xmlFreeDoc(document);
  return out;
}

Recorder::Recorder(std::size_t keep, std::string directory) : keep_(keep), directory_(std::move(directory)) {
  if (directory_.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(directory_, error);
  if (!std::filesystem::is_directory(directory_))
    throw OptionError("The folder for recorded exchanges cannot be made: " + directory_);
}

void Recorder::Add(Exchange exchange) {
  Mask(exchange.request_headers);
  Mask(exchange.response_headers);
  if (exchange.request_body.find('<') == std::string::npos) MaskForm(exchange.request_body);
  {
    const std::lock_guard lock(mutex_);
    exchange.number = ++last_number_;
    bytes_ += exchange.request_body.size() + exchange.response_body.size();
    exchanges_.push_back(exchange);
    while (!exchanges_.empty() && (exchanges_.size() > keep_ || bytes_ > kMaxBytes)) {
      bytes_ -= exchanges_.front().request_body.size() + exchanges_.front().response_body.size();
      exchanges_.pop_front();
    }
  }
  if (!directory_.empty()) WriteFiles(exchange);
}

void Recorder::WriteFiles(const Exchange& exchange) const {
  char number[16];
  std::snprintf(number, sizeof number, "%06llu", static_cast<unsigned long long>(exchange.number));
  const std::string name =
      std::string(number) + "-" + (exchange.operation.empty() ? exchange.method : exchange.operation);
  const std::filesystem::path directory(directory_);
  WriteFile(directory / (name + ".request.txt"), exchange.method + " " + exchange.target, exchange.request_headers,
            exchange.request_body);
  WriteFile(directory / (name + ".response.txt"), "HTTP " + std::to_string(exchange.status), exchange.response_headers,
            exchange.response_body);
}

std::vector<Exchange> Recorder::All() const {
  const std::lock_guard lock(mutex_);
  return {exchanges_.begin(), exchanges_.end()};
}

void Recorder::Clear() {
  const std::lock_guard lock(mutex_);
  exchanges_.clear();
  bytes_ = 0;
}

}  // namespace velmore::simulator
