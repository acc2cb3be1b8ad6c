#include "simulator/control/script.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "simulator/control/json_places.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

using Json = nlohmann::ordered_json;

struct CertificateName {
  const char* name;
  Certificate certificate;
};
constexpr CertificateName kCertificates[] = {
    {"valid", Certificate::kValid},
    {"expired", Certificate::kExpired},
    {"notYetValid", Certificate::kNotYetValid},
    {"unknownIssuer", Certificate::kUnknownIssuer},
    {"selfSigned", Certificate::kSelfSigned},
    {"wrongName", Certificate::kWrongName},
    {"wrongUsage", Certificate::kWrongUsage},
    {"revoked", Certificate::kRevoked},
};

constexpr const char* kGarbage = "\x01\x02\xff\xfe<not XML \x03\x04";
constexpr const char* kHtml =
    "<!DOCTYPE html>\n<html><head><title>Sign in</title></head><body><h1>Please sign in</h1></body></html>\n";
constexpr std::int64_t kDay = 86400000;  // milliseconds

bool IsToken(const std::string& text) {
  static const std::string kMarks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return (c < 0x80 && std::isalnum(c) != 0) || kMarks.find(static_cast<char>(c)) != std::string::npos;
  });
}

/// A header's value must not break out of its line.
bool IsHeaderValue(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 && c != '\t'; });
}

std::string Read(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  if (!in || !(out << in.rdbuf())) {
    // An empty file leaves the stream in a failed state, too, and is no failure to read.
    if (!in.is_open() || in.bad() || std::filesystem::is_directory(path))
      throw OptionError("Cannot read " + path.string() + ".");
  }
  return std::move(out).str();
}

class Reader {
 public:
  explicit Reader(const std::string& file) : file_(file), text_(Read(file)), json_(Parse()), places_(text_) {}

  Script Run() {
    if (!places_.Duplicate().empty()) Fail(places_.Duplicate(), "stands twice");
    if (!json_.is_object()) Fail("", "must hold one object in braces");
    Script script;
    for (const auto& [key, value] : json_.items()) {
      if (key == "note") continue;
      if (key == "certificate") {
        script.certificate = CertificateOf(value, key);
      } else if (key == "authentication") {
        script.authentication = Schemes(value, key);
      } else if (key == "faults") {
        if (!value.is_array()) Fail(key, "must be a list in brackets");
        for (std::size_t i = 0; i < value.size(); ++i)
          script.faults.push_back(FaultOf(value[i], "faults[" + std::to_string(i) + "]"));
      } else {
        Fail(key, "is unknown here; known are note, certificate, authentication and faults");
      }
    }
    return script;
  }

 private:
  [[noreturn]] void Fail(const std::string& path, const std::string& what) const {
    throw OptionError(file_ + ":" + std::to_string(places_.Line(path)) + ": " +
                      (path.empty() ? std::string("the file") : path) + " " + what + ".");
  }

  Json Parse() const {
    try {
      return Json::parse(text_, nullptr, true, true);
    } catch (const Json::parse_error& error) {
      const std::size_t end = std::min<std::size_t>(error.byte == 0 ? 0 : error.byte - 1, text_.size());
      const auto line = 1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(end), '\n');
      const std::size_t begin = end == 0 ? std::string::npos : text_.rfind('\n', end - 1);
      const std::size_t column = end + 1 - (begin == std::string::npos ? 0 : begin + 1);
      // "[json.exception.parse_error.101] parse error at line 3, column 5: syntax error while ..."
      std::string what = error.what();
      if (const std::size_t colon = what.find(": "); colon != std::string::npos) what.erase(0, colon + 2);
      throw OptionError(file_ + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + what + ".");
    }
  }

  std::int64_t Number(const Json& value, const std::string& path, std::int64_t least, std::int64_t most,
                      const std::string& unit) const {
    const bool fits = value.is_number_integer() &&
                      (!value.is_number_unsigned() || value.get<std::uint64_t>() <= std::uint64_t{1} << 62) &&
                      value.get<std::int64_t>() >= least && value.get<std::int64_t>() <= most;
    if (!fits)
      Fail(path,
           "must be a whole number of " + unit + " from " + std::to_string(least) + " to " + std::to_string(most));
    return value.get<std::int64_t>();
  }

  bool Boolean(const Json& value, const std::string& path) const {
    if (!value.is_boolean()) Fail(path, "must be true or false");
    return value.get<bool>();
  }

  std::string Text(const Json& value, const std::string& path) const {
    if (!value.is_string()) Fail(path, "must be a text in quotes");
    return value.get<std::string>();
  }

  std::string Code(const Json& value, const std::string& path) const {
    std::string code = Text(value, path);
    if (code.empty() ||
        !std::all_of(code.begin(), code.end(), [](unsigned char c) { return c < 0x80 && std::isalnum(c) != 0; }))
      Fail(path, "must be a response code such as \"ErrorItemNotFound\"");
    return code;
  }

  Certificate CertificateOf(const Json& value, const std::string& path) const {
    const std::string name = Text(value, path);
    std::string known;
    for (const CertificateName& row : kCertificates) {
      if (name == row.name) return row.certificate;
      known += (known.empty() ? "" : ", ") + std::string(row.name);
    }
    Fail(path, "knows no certificate \"" + name + "\"; known are " + known);
  }

  std::vector<std::string> Schemes(const Json& value, const std::string& path) const {
    if (!value.is_array()) Fail(path, "must be a list of schemes such as [\"Negotiate\", \"Basic\"]");
    std::vector<std::string> schemes;
    for (std::size_t i = 0; i < value.size(); ++i) {
      const std::string at = path + "[" + std::to_string(i) + "]";
      schemes.push_back(Text(value[i], at));
      if (!IsToken(schemes.back())) Fail(at, "must be the name of a scheme");
    }
    return schemes;
  }

  Fault FaultOf(const Json& entry, const std::string& path) const {
    if (!entry.is_object()) Fail(path, "must be an object in braces");
    Fault fault;
    std::vector<std::string> answers;  // keys that say what is answered
    bool acts = false;
    for (const auto& [key, value] : entry.items()) {
      const std::string at = path + "." + key;
      const bool matching = key == "note" || key == "operation" || key == "skip" || key == "times" || key == "execute";
      if (key == "note") {
      } else if (key == "operation") {
        fault.operation = Text(value, at);
        const std::vector<std::string> known = OperationNames();
        if (std::none_of(known.begin(), known.end(), [&](const auto& name) { return SameText(name, fault.operation); }))
          Fail(at, "knows no operation \"" + fault.operation + "\"");
      } else if (key == "skip") {
        fault.skip = static_cast<int>(Number(value, at, 0, 1000000, "requests"));
      } else if (key == "times") {
        fault.times =
            value == "always" ? -1 : static_cast<int>(Number(value, at, 1, 1000000, "requests, or \"always\","));
      } else if (key == "execute") {
        fault.execute = Boolean(value, at);
      } else if (key == "delay") {
        fault.delay = std::chrono::milliseconds(Number(value, at, 0, kDay, "milliseconds"));
      } else if (key == "status") {
        fault.http_status = static_cast<int>(Number(value, at, 200, 599, "an HTTP status"));
        answers.push_back(key);
      } else if (key == "fault") {
        fault.soap_fault_code = Code(value, at);
        answers.push_back(key);
      } else if (key == "error") {
        fault.response_code = Code(value, at);
        answers.push_back(key);
      } else if (key == "reply") {
        const std::string kind = Text(value, at);
        if (kind != "empty" && kind != "html" && kind != "garbage")
          Fail(at, "must be \"empty\", \"html\" or \"garbage\"");
        fault.replace_body = true;
        fault.body = kind == "html" ? kHtml : kind == "garbage" ? kGarbage : "";
        if (kind == "html" && fault.content_type.empty()) fault.content_type = "text/html; charset=utf-8";
        answers.push_back(key);
      } else if (key == "body" || key == "bodyFile") {
        if (key == "body" ? entry.contains("bodyFile") || entry.contains("reply") : entry.contains("reply"))
          Fail(at, "cannot stand beside another body");
        fault.body = Text(value, at);
        if (key == "bodyFile") {
          try {
            fault.body = Read(std::filesystem::path(file_).parent_path() / fault.body);
          } catch (const OptionError& error) {
            Fail(at, std::string("names no file: ") + error.what());
          }
        }
        if (!entry.contains("status")) {
          fault.replace_body = true;
          answers.push_back(key);
        }
      } else if (key == "contentType") {
        fault.content_type = Text(value, at);
        if (!IsHeaderValue(fault.content_type)) Fail(at, "must stand on one line");
      } else if (key == "headers") {
        if (!value.is_object()) Fail(at, "must be an object of names and texts");
        for (const auto& [name, content] : value.items()) {
          const std::string header = Text(content, at + "." + name);
          if (!IsToken(name)) Fail(at + "." + name, "is no name of a header");
          if (!IsHeaderValue(header)) Fail(at + "." + name, "must stand on one line");
          fault.headers.emplace_back(name, header);
        }
      } else if (key == "retryAfter") {
        const std::string wait = value.is_string()
                                     ? value.get<std::string>()
                                     : std::to_string(Number(value, at, 0, kDay, "seconds, or a date in quotes,"));
        if (!IsHeaderValue(wait)) Fail(at, "must stand on one line");
        fault.headers.emplace_back("Retry-After", wait);
      } else if (key == "message") {
        fault.message_text = Text(value, at);
      } else if (key == "warning") {
        fault.warning = Boolean(value, at);
      } else if (key == "backOff") {
        fault.back_off_milliseconds = static_cast<int>(Number(value, at, 1, kDay, "milliseconds"));
      } else if (key == "cutAt") {
        fault.cut_at_byte = Number(value, at, 0, std::int64_t{1} << 40, "bytes");
      } else if (key == "pieces") {
        fault.piece_size = static_cast<std::size_t>(Number(value, at, 1, 1 << 30, "bytes"));
      } else if (key == "close") {
        const std::string when = Text(value, at);
        if (when != "before" && when != "after") Fail(at, "must be \"before\" or \"after\" (the reply)");
        (when == "before" ? fault.close_before_reply : fault.close_after_reply) = true;
      } else if (key == "certificate") {
        fault.certificate = CertificateOf(value, at);
      } else if (key == "authentication") {
        fault.authentication = Schemes(value, at);
      } else {
        Fail(at,
             "is unknown; known are note, operation, skip, times, execute, delay, status, fault, error, reply, body, "
             "bodyFile, contentType, headers, retryAfter, message, warning, backOff, cutAt, pieces, close, certificate "
             "and authentication");
      }
      acts = acts || !matching;
    }
    if (!acts) Fail(path, "does nothing: it needs an answer, a delay, a cut or a change");
    if (answers.size() > 1) Fail(path, "has two answers: " + answers[0] + " and " + answers[1]);
    const auto needs = [&](const char* key, std::initializer_list<const char*> one_of, const char* what) {
      if (!entry.contains(key)) return;
      if (std::none_of(one_of.begin(), one_of.end(), [&](const char* other) { return entry.contains(other); }))
        Fail(path + "." + key, std::string("goes only with ") + what);
    };
    needs("message", {"fault", "error"}, "fault or error");
    needs("backOff", {"fault", "error"}, "fault or error");
    needs("warning", {"error"}, "error");
    needs("contentType", {"status", "reply", "body", "bodyFile"}, "status, reply, body or bodyFile");
    needs("retryAfter", {"status", "fault"}, "status or fault");
    if (fault.close_before_reply && !answers.empty()) Fail(path, "has an answer that close \"before\" never sends");
    if (fault.execute && answers.empty() && !fault.close_before_reply)
      Fail(path + ".execute", "goes only with what replaces the reply");
    return fault;
  }

  const std::string& file_;
  const std::string text_;
  const Json json_;
  const JsonPlaces places_;
};

}  // namespace

Script ReadScript(const std::string& file) {
  return Reader(file).Run();
}

}  // namespace velmore::simulator
