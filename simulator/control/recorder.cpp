#include "simulator/control/recorder.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "simulator/types/options.h"
#include "simulator/types/text.h"

namespace velmore::simulator {

namespace {

// A run with large attachments must not fill the memory with what was recorded of them.
constexpr std::size_t kMaxBytes = 256u << 20;

constexpr const char* kMask = "****";

/// Whether an element, an attribute, a member or a field of this name holds a secret: "t:NewPassword", "client_secret".
bool IsSecret(std::string_view name) {
  std::string plain;
  for (const char c : name.substr(name.rfind(':') + 1)) {
    if (c != '_' && c != '-') plain += c;
  }
  plain = Lower(plain);
  for (const char* ending :
       {"password", "secret", "accesstoken", "refreshtoken", "idtoken", "tokenvalue", "assertion", "codeverifier"}) {
    if (plain.ends_with(ending)) return true;
  }
  return false;
}

/// Masks what stands behind secret names in a form, a query or JSON.
void MaskFields(std::string& text) {
  constexpr std::string_view kStops = "&,;} \t\r\n";  // behind a value without quotes
  const auto is_name = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'; };
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t begin = at;
    while (at < text.size() && is_name(text[at])) ++at;
    if (at == begin) {
      ++at;
      continue;
    }
    const std::string_view name = std::string_view(text).substr(begin, at - begin);
    std::size_t value = text.find_first_not_of("\" \t\r\n", at);
    if (value == std::string::npos || (text[value] != ':' && text[value] != '=')) continue;
    // The code of an authorization, which stands in forms and addresses; elsewhere a "code" is one of an error.
    const bool authorization = name == "code" && text[value] == '=';
    if (!authorization && !IsSecret(name)) continue;
    value = std::min(text.find_first_not_of(" \t\r\n", value + 1), text.size());
    const bool quoted = value < text.size() && (text[value] == '"' || text[value] == '\'');
    const char quote = quoted ? text[value++] : '\0';
    std::size_t end = value;
    while (end < text.size() && (quoted ? text[end] != quote : kStops.find(text[end]) == std::string_view::npos))
      end += quoted && text[end] == '\\' ? 2 : 1;
    end = std::min(end, text.size());
    at = value;
    if (end == value) continue;
    text.replace(value, end - value, kMask);
    at += std::string_view(kMask).size();
  }
}

/// Masks secret elements and attributes. Works on bytes: what is not well-formed is recorded, too.
void MaskElements(std::string& text) {
  std::size_t at = 0;
  while ((at = text.find('<', at)) != std::string::npos) {
    const std::size_t name_end = text.find_first_of(" \t\r\n/>", ++at);
    if (name_end == std::string::npos) return;
    if (name_end == at || text[at] == '?' || text[at] == '!') continue;
    const std::string name = text.substr(at, name_end - at);
    std::size_t tag_end = text.find('>', name_end);
    if (tag_end == std::string::npos) return;
    if (std::string attributes = text.substr(name_end, tag_end - name_end); attributes.find('=') != std::string::npos) {
      MaskFields(attributes);
      text.replace(name_end, tag_end - name_end, attributes);
      tag_end = name_end + attributes.size();
    }
    at = tag_end;
    if (!IsSecret(name) || text[tag_end - 1] == '/') continue;
    const std::size_t end = std::min(text.find("</" + name, tag_end), text.size());
    if (end > tag_end + 1) text.replace(tag_end + 1, end - tag_end - 1, kMask);
  }
}

void MaskBody(std::string& body) {
  if (body.starts_with("\xFF\xFE") || body.starts_with("\xFE\xFF")) {
    // UTF-16, in which nothing would be found. What is damaged loses at least its zeroes.
    body = ReadableBody(body);
    std::erase(body, '\0');
  }
  if (body.find('<') == std::string::npos) {
    MaskFields(body);
  } else {
    MaskElements(body);
  }
}

/// The part of an address behind "?".
void MaskQuery(std::string& address) {
  const std::size_t mark = address.find('?');
  if (mark == std::string::npos) return;
  std::string query = address.substr(mark);
  MaskFields(query);
  address.replace(mark, std::string::npos, query);
}

/// The values of cookies. The name of a back end is no secret, and whoever tests with several wants to see it.
std::string MaskedCookies(std::string_view cookies) {
  std::string masked;
  while (!cookies.empty()) {
    const std::size_t end = std::min(cookies.find("; "), cookies.size());
    const std::string_view cookie = cookies.substr(0, end);
    cookies.remove_prefix(std::min(end + 2, cookies.size()));
    const std::size_t equals = cookie.find('=');
    const std::string_view name = cookie.substr(0, equals);
    if (!masked.empty()) masked += "; ";
    if (name == "X-BackEndOverrideCookie") {
      masked += cookie;
    } else {
      masked += equals == std::string_view::npos ? kMask : std::string(name) + "=" + kMask;
    }
  }
  return masked;
}

void MaskHeaders(std::vector<std::pair<std::string, std::string>>& headers) {
  for (auto& [name, value] : headers) {
    const std::string lower = Lower(name);
    if (lower == "authorization" || lower == "proxy-authorization") {
      const std::size_t blank = value.find(' ');
      value = (blank == std::string::npos ? std::string() : value.substr(0, blank + 1)) + kMask;
    } else if (lower == "cookie") {
      value = MaskedCookies(value);
    } else if (lower == "set-cookie" && !value.starts_with("X-BackEndOverrideCookie=")) {
      const std::size_t equals = value.find('=');
      value = (equals == std::string::npos ? std::string() : value.substr(0, equals + 1)) + kMask;
    } else if (lower == "location" || lower == "referer") {
      MaskQuery(value);
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

// Bodies may be anything; what the parser thinks of their encoding would go to the standard error past its options.
class Silence {
 public:
  Silence() {
    xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
  }
  ~Silence() { xmlSetStructuredErrorFunc(context_, function_); }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  void* const context_ = xmlStructuredErrorContext;
  const xmlStructuredErrorFunc function_ = xmlStructuredError;
};

}  // namespace

std::string ReadableBody(const std::string& body) {
  if (body.empty() || body.size() > (8u << 20) || body.find('<') == std::string::npos) return body;
  const Silence silence;
  xmlDocPtr document = xmlReadMemory(body.data(), static_cast<int>(body.size()), nullptr, nullptr,
                                     XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET);
  if (document == nullptr) return body;
  xmlChar* text = nullptr;
  int length = 0;
  xmlDocDumpFormatMemoryEnc(document, &text, &length, "utf-8", 1);
  std::string out(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
  xmlFree(text);
  xmlFreeDoc(document);
  MaskElements(out);  // in another encoding they were not to be seen before
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
  MaskQuery(exchange.target);
  MaskHeaders(exchange.request_headers);
  MaskHeaders(exchange.response_headers);
  MaskBody(exchange.request_body);
  MaskBody(exchange.response_body);
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
