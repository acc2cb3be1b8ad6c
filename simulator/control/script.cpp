#include "simulator/control/script.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "simulator/operations/operations.h"
#include "simulator/types/json_places.h"

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

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> words;
  std::istringstream in{std::string(text)};
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

/// "status, reply or body"
std::string Listed(const std::vector<std::string>& words, const std::string& last) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i)
    text += (i == 0 ? "" : i + 1 < words.size() ? ", " : " " + last + " ") + words[i];
  return text;
}

/// Words that a template can be told.
template <std::size_t Size>
struct Words {
  char text[Size];
  consteval Words(const char (&words)[Size]) { std::copy_n(words, Size, text); }
};

class Reader {
 public:
  explicit Reader(const std::string& file) : file_(file), text_(Read(file)), json_(Parse()), places_(text_) {}

  /// A value where it stands.
  struct Field {
    const Json& entry;  // the fault
    const Json& value;
    const std::string& path;
  };
  enum class Role {
    kMatching,  // says which requests, or nothing at all
    kAnswer,    // says what is answered; one of a fault at most
    kBody,      // an answer unless there is a status, which it then belongs to
    kAct,
  };
  /// A key of a fault: the one place that knows it.
  struct KeyRow {
    const char* key;
    Role role;
    std::string_view goes_with;  // keys of which one must stand beside it; empty: it goes alone
    void (*read)(const Reader& reader, const Field& field, Fault& fault);
  };
  static std::vector<std::string> FaultKeys() {
    std::vector<std::string> keys;
    for (const KeyRow& row : kKeys) keys.emplace_back(row.key);
    return keys;
  }

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
      const TextPlace place = PlaceOf(text_, error.byte);
      throw OptionError(file_ + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " +
                        WithoutPlace(error.what()) + ".");
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

  std::string Line(const Json& value, const std::string& path) const {
    std::string text = Text(value, path);
    if (!IsHeaderValue(text)) Fail(path, "must stand on one line");
    return text;
  }

  std::string Code(const Json& value, const std::string& path) const {
    std::string code = Text(value, path);
    if (code.empty() || !std::all_of(code.begin(), code.end(),
                                     [](unsigned char c) { return c < 0x80 && (std::isalnum(c) != 0 || c == '_'); }))
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
      const auto row = std::find_if(kKeys.begin(), kKeys.end(), [&key = key](const KeyRow& r) { return key == r.key; });
      if (row == kKeys.end()) Fail(at, "is unknown; known are " + Listed(FaultKeys(), "and"));
      row->read(*this, {entry, value, at}, fault);
      acts = acts || row->role != Role::kMatching;
      if (row->role == Role::kAnswer || (row->role == Role::kBody && !entry.contains("status"))) answers.push_back(key);
    }
    if (!acts) Fail(path, "does nothing: it needs an answer, a delay, a cut or a change");
    if (answers.size() > 1) Fail(path, "has two answers: " + answers[0] + " and " + answers[1]);
    for (const KeyRow& row : kKeys) {
      if (row.goes_with.empty() || !entry.contains(row.key)) continue;
      const std::vector<std::string> others = Split(row.goes_with);
      if (std::none_of(others.begin(), others.end(), [&](const std::string& other) { return entry.contains(other); }))
        Fail(path + "." + row.key, "goes only with " + Listed(others, "or"));
    }
    if (fault.close_before_reply && !answers.empty()) Fail(path, "has an answer that close \"before\" never sends");
    if (fault.execute && answers.empty() && !fault.close_before_reply)
      Fail(path + ".execute", "goes only with what replaces the reply");
    return fault;
  }

  void BodyOf(const Field& field, std::string body, Fault& fault) const {
    if (field.entry.contains("body") + field.entry.contains("bodyFile") + field.entry.contains("reply") > 1)
      Fail(field.path, "cannot stand beside another body");
    fault.body = std::move(body);
    fault.replace_body = fault.replace_body || !field.entry.contains("status");
  }

  template <auto Member, auto Read>
  static void Set(const Reader& reader, const Field& field, Fault& fault) {
    fault.*Member = (reader.*Read)(field.value, field.path);
  }
  template <auto Member, std::int64_t Least, std::int64_t Most, Words Unit>
  static void Count(const Reader& reader, const Field& field, Fault& fault) {
    using Number = std::remove_cvref_t<decltype(fault.*Member)>;
    fault.*Member = static_cast<Number>(reader.Number(field.value, field.path, Least, Most, Unit.text));
  }
  static const std::array<KeyRow, 29> kKeys;

  const std::string& file_;
  const std::string text_;
  const Json json_;
  const JsonPlaces places_;
};

using Field = Reader::Field;
using Role = Reader::Role;

const std::array<Reader::KeyRow, 29> Reader::kKeys = {{
    {"note", Role::kMatching, {}, [](const Reader&, const Field&, Fault&) {}},
    {"operation", Role::kMatching, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       fault.operation = r.Text(f.value, f.path);
       std::vector<std::string> known = OperationNames();
       known.insert(known.end(), {"Autodiscover", "AutodiscoverV2", "Token", "Authorize"});
       if (std::none_of(known.begin(), known.end(), [&](const auto& name) { return SameText(name, fault.operation); }))
         r.Fail(f.path, "knows no operation \"" + fault.operation + "\"");
     }},
    {"skip", Role::kMatching, {}, Count<&Fault::skip, 0, 1000000, "requests">},
    {"times", Role::kMatching, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       fault.times = f.value == "always" ? -1
                                         : static_cast<int>(r.Number(f.value, f.path, 1, 1000000,
                                                                     "requests, or \"always\","));
     }},
    {"execute", Role::kMatching, {}, Set<&Fault::execute, &Reader::Boolean>},
    {"delay", Role::kAct, {}, Count<&Fault::delay, 0, kDay, "milliseconds">},
    {"status", Role::kAnswer, {}, Count<&Fault::http_status, 200, 599, "an HTTP status">},
    {"fault", Role::kAnswer, {}, Set<&Fault::soap_fault_code, &Reader::Code>},
    {"error", Role::kAnswer, {}, Set<&Fault::response_code, &Reader::Code>},
    {"reply", Role::kAnswer, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       const std::string kind = r.Text(f.value, f.path);
       if (kind != "empty" && kind != "html" && kind != "garbage")
         r.Fail(f.path, "must be \"empty\", \"html\" or \"garbage\"");
       fault.replace_body = true;
       fault.body = kind == "html" ? kHtml : kind == "garbage" ? kGarbage : "";
       if (kind == "html" && fault.content_type.empty()) fault.content_type = "text/html; charset=utf-8";
     }},
    {"body", Role::kBody, {},
     [](const Reader& r, const Field& f, Fault& fault) { r.BodyOf(f, r.Text(f.value, f.path), fault); }},
    {"bodyFile", Role::kBody, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       std::string body = r.Text(f.value, f.path);
       try {
         body = Read(std::filesystem::path(r.file_).parent_path() / body);
       } catch (const OptionError& error) {
         r.Fail(f.path, std::string("names no file: ") + error.what());
       }
       r.BodyOf(f, std::move(body), fault);
     }},
    {"contentType", Role::kAct, "status reply body bodyFile", Set<&Fault::content_type, &Reader::Line>},
    {"headers", Role::kAct, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       if (!f.value.is_object()) r.Fail(f.path, "must be an object of names and texts");
       for (const auto& [name, content] : f.value.items()) {
         if (!IsToken(name)) r.Fail(f.path + "." + name, "is no name of a header");
         fault.headers.emplace_back(name, r.Line(content, f.path + "." + name));
       }
     }},
    {"retryAfter", Role::kAct, "status fault",
     [](const Reader& r, const Field& f, Fault& fault) {
       fault.headers.emplace_back("Retry-After",
                                  f.value.is_string() ? r.Line(f.value, f.path)
                                                      : std::to_string(r.Number(f.value, f.path, 0, kDay,
                                                                                "seconds, or a date in quotes,")));
     }},
    {"message", Role::kAct, "fault error", Set<&Fault::message_text, &Reader::Text>},
    {"warning", Role::kAct, "error", Set<&Fault::warning, &Reader::Boolean>},
    {"backOff", Role::kAct, "fault error", Count<&Fault::back_off_milliseconds, 1, kDay, "milliseconds">},
    {"cutAt", Role::kAct, {}, Count<&Fault::cut_at_byte, 0, std::int64_t{1} << 40, "bytes">},
    {"pieces", Role::kAct, {}, Count<&Fault::piece_size, 1, 1 << 30, "bytes">},
    {"silentAfter", Role::kAct, {}, Count<&Fault::silent_after, 0, 1000000, "envelopes">},
    {"endAfter", Role::kAct, {}, Count<&Fault::end_after, 0, 1000000, "envelopes">},
    {"streamText", Role::kAct, "silentAfter endAfter", Set<&Fault::stream_text, &Reader::Text>},
    {"glue", Role::kAct, {}, Count<&Fault::glue, 1, 1000, "envelopes">},
    {"before", Role::kAct, {}, Set<&Fault::before_envelope, &Reader::Text>},
    {"prefix", Role::kAct, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       fault.prefix = r.Text(f.value, f.path);
       if (!IsToken(fault.prefix)) r.Fail(f.path, "is no prefix");
     }},
    {"close", Role::kAct, {},
     [](const Reader& r, const Field& f, Fault& fault) {
       const std::string when = r.Text(f.value, f.path);
       if (when != "before" && when != "after") r.Fail(f.path, "must be \"before\" or \"after\" (the reply)");
       (when == "before" ? fault.close_before_reply : fault.close_after_reply) = true;
     }},
    {"certificate", Role::kAct, {}, Set<&Fault::certificate, &Reader::CertificateOf>},
    {"authentication", Role::kAct, {}, Set<&Fault::authentication, &Reader::Schemes>},
}};

}  // namespace

Script ReadScript(const std::string& file) {
  return Reader(file).Run();
}

}  // namespace velmore::simulator
