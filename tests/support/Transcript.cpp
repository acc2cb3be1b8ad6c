#include "tests/support/Transcript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "simulator/xml/element.h"

namespace {

namespace fs = std::filesystem;
using velmore::simulator::Element;
using velmore::simulator::ParseXml;
using velmore::simulator::XmlError;

constexpr std::string_view kAny = "****";

std::string Read(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  if (!in) throw std::runtime_error("The transcript lacks " + path.string() + ".");
  if (in.peek() != std::ifstream::traits_type::eof()) out << in.rdbuf();
  return std::move(out).str();
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

/// First line, headers and body of a file.
struct Parts {
  std::string First;
  TranscriptExchange::Headers Headers;
  std::string Body;
};

Parts Split(const fs::path& path) {
  const std::string text = Read(path);
  Parts parts;
  std::size_t at = 0;
  bool first = true;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (first && line.starts_with("#")) continue;  // a remark for readers
    if (first) {
      parts.First = line;
      first = false;
      continue;
    }
    if (line.empty()) break;
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) throw std::runtime_error(path.string() + " has a header without a colon: " + line);
    const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
    parts.Headers.emplace_back(line.substr(0, colon), line.substr(value));
  }
  if (at < text.size()) parts.Body = text.substr(at);
  return parts;
}

/// What differs from run to run, or belongs to the connection and not to the conversation.
bool IsOfTheConnection(const std::string& header) {
  static const char* const kNames[] = {"host",
                                       "content-length",
                                       "connection",
                                       "authorization",
                                       "cookie",
                                       "user-agent",
                                       "accept",
                                       "accept-encoding",
                                       "expect",
                                       "date",
                                       "transfer-encoding",
                                       "content-encoding",
                                       "client-request-id",
                                       "return-client-request-id"};
  const std::string lower = Lower(header);
  return std::any_of(std::begin(kNames), std::end(kNames), [&](const char* name) { return lower == name; });
}

std::string Trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

std::string Difference(const Element& expected, const Element& actual, const std::string& above) {
  const std::string path = above + "/" + expected.name;
  if (expected.name != actual.name || expected.space != actual.space)
    return above + "/" + actual.name + " stands where " + expected.name + " is expected";
  const std::size_t attributes = std::max(expected.attributes.size(), actual.attributes.size());
  for (std::size_t i = 0; i < attributes; ++i) {
    if (i >= actual.attributes.size()) return path + " lacks the attribute " + expected.attributes[i].first;
    const auto& [name, value] = actual.attributes[i];
    if (i >= expected.attributes.size() || name != expected.attributes[i].first)
      return path + " has the attribute " + name + " that is not expected there";
    if (expected.attributes[i].second != kAny && value != expected.attributes[i].second)
      return path + "/@" + name + " is \"" + value + "\", expected \"" + expected.attributes[i].second + "\"";
  }
  if (expected.children.empty() && actual.children.empty()) {
    if (Trimmed(expected.text) != kAny && expected.text != actual.text)
      return path + " is \"" + actual.text + "\", expected \"" + expected.text + "\"";
    return {};
  }
  const std::size_t children = std::max(expected.children.size(), actual.children.size());
  for (std::size_t i = 0; i < children; ++i) {
    if (i >= actual.children.size()) return path + " lacks " + expected.children[i].name;
    if (i >= expected.children.size()) return path + " has a surplus " + actual.children[i].name;
    if (const std::string what = Difference(expected.children[i], actual.children[i], path); !what.empty()) return what;
  }
  return {};
}

const char* Reason(int status) {
  return status == 200 ? "OK" : status == 401 ? "Unauthorized" : status == 500 ? "Internal Server Error" : "Status";
}

}  // namespace

std::string XmlDifference(const std::string& expected, const std::string& actual) {
  const Element wanted = ParseXml(expected);
  try {
    return Difference(wanted, ParseXml(actual), {});
  } catch (const XmlError& error) {
    return "it is not well-formed: " + std::string(error.what());
  }
}

std::vector<TranscriptExchange> ReadTranscript(const std::string& directory) {
  static const std::string kRequest = ".request.txt";
  static const std::string kResponse = ".response.txt";
  if (!fs::is_directory(directory)) throw std::runtime_error("There is no transcript " + directory + ".");
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    const std::string file = entry.path().filename().string();
    if (file.ends_with(kRequest)) names.push_back(file.substr(0, file.size() - kRequest.size()));
    // An answer without a request would never be given, and nobody would notice.
    if (file.ends_with(kResponse) &&
        !fs::exists(fs::path(directory) / (file.substr(0, file.size() - kResponse.size()) + kRequest)))
      throw std::runtime_error("The transcript lacks the request to " + file + ".");
  }
  if (names.empty()) throw std::runtime_error("The transcript " + directory + " has no requests.");
  std::sort(names.begin(), names.end());
  std::vector<TranscriptExchange> exchanges;
  for (const std::string& name : names) {
    const fs::path request = fs::path(directory) / (name + kRequest);
    const fs::path response = fs::path(directory) / (name + kResponse);
    TranscriptExchange exchange;
    exchange.Name = name;
    Parts parts = Split(request);
    const std::size_t blank = parts.First.find(' ');
    if (blank == std::string::npos) throw std::runtime_error(request.string() + " does not begin with METHOD TARGET.");
    exchange.Method = parts.First.substr(0, blank);
    exchange.Target = parts.First.substr(blank + 1);
    exchange.RequestHeaders = std::move(parts.Headers);
    exchange.RequestBody = std::move(parts.Body);
    parts = Split(response);
    if (std::sscanf(parts.First.c_str(), "HTTP %d", &exchange.Status) != 1)
      throw std::runtime_error(response.string() + " does not begin with HTTP STATUS.");
    exchange.ResponseHeaders = std::move(parts.Headers);
    exchange.ResponseBody = std::move(parts.Body);
    exchanges.push_back(std::move(exchange));
  }
  return exchanges;
}

TranscriptServer::TranscriptServer(const std::string& directory) {
  for (TranscriptExchange& exchange : ReadTranscript(directory)) FExpected.push_back(std::move(exchange));
  FServer.Always([this](const ScriptedServer::Request& request) { return Next(request); });
}

TranscriptServer::~TranscriptServer() {
  if (FAsked) return;
  if (const std::string wrong = Finish(); !wrong.empty()) ADD_FAILURE() << wrong;
}

std::string TranscriptServer::Finish() {
  const std::scoped_lock lock(FMutex);
  FAsked = true;
  std::string wrong = FComplaints;
  for (const TranscriptExchange& missing : FExpected) wrong += missing.Name + " was not asked for\n";
  return wrong;
}

std::string TranscriptServer::Compare(const TranscriptExchange& expected,
                                      const ScriptedServer::Request& request) const {
  if (request.Method() != expected.Method || request.Target() != expected.Target)
    return "is " + request.Method() + " " + request.Target() + ", expected " + expected.Method + " " + expected.Target;
  for (const auto& [name, value] : expected.RequestHeaders) {
    if (IsOfTheConnection(name) || value == kAny) continue;
    if (request.Header(name) != value)
      return "has the header " + name + " \"" + request.Header(name) + "\", expected \"" + value + "\"";
  }
  if (Trimmed(expected.RequestBody) == kAny) return {};
  if (expected.RequestBody.find('<') == std::string::npos)
    return request.Body == expected.RequestBody ? std::string() : "has another body";
  return XmlDifference(expected.RequestBody, request.Body);
}

ScriptedServer::Answer TranscriptServer::Next(const ScriptedServer::Request& request) {
  const std::scoped_lock lock(FMutex);
  ScriptedServer::Answer answer;
  answer.Bytes = "HTTP/1.1 599 Not in the transcript\r\nContent-Length: 0\r\n\r\n";
  answer.Close = true;
  if (FExpected.empty()) {
    FComplaints += "Surplus request: " + request.Method() + " " + request.Target() + "\n" + request.Body + "\n";
    return answer;
  }
  const TranscriptExchange expected = std::move(FExpected.front());
  FExpected.pop_front();
  if (const std::string what = Compare(expected, request); !what.empty()) {
    FComplaints += expected.Name + ": the request " + what + "\n" + request.Body + "\n";
    return answer;
  }
  if (expected.Status == 0) {
    answer.Bytes.clear();
    return answer;
  }
  answer.Bytes = "HTTP/1.1 " + std::to_string(expected.Status) + " " + Reason(expected.Status) + "\r\n";
  for (const auto& [name, value] : expected.ResponseHeaders)
    if (!IsOfTheConnection(name)) answer.Bytes += name + ": " + value + "\r\n";
  answer.Bytes +=
      "Content-Length: " + std::to_string(expected.ResponseBody.size()) + "\r\n\r\n" + expected.ResponseBody;
  answer.Close = false;
  return answer;
}
