// The strict reading of markup, and of declarations.

#include <algorithm>
#include <array>
#include <vector>

#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

/// True for bytes that end a plain run of text: markup, references, brackets, controls, and all beyond ASCII.
constexpr auto kStops = [] {
  std::array<bool, 256> stops{};
  for (std::size_t c = 0; c < 256; ++c) {
    stops[c] = c >= 0x80 || (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == '<' || c == '&' || c == ']';
  }
  return stops;
}();

class TChecker {
 public:
  TChecker(std::string_view text, TVqXMLRules rules, const TVqXMLLimits& limits, std::string& rewritten)
      : FText(text), FRules(rules), FLimits(limits), FRewritten(rewritten) {}

  bool Run() {
    if (FText.size() > FLimits.MaxBytes) {
      FailAt(FText, 0, Format("The document has more than %s bytes.", {IntToStr(Signed(FLimits.MaxBytes))}));
    }
    if (FRules != TVqXMLRules::rContent) FPosition = ReadDeclaration(FText).End;
    while (FPosition < FText.size()) {
      if (FText[FPosition] == '<') {
        Markup();
      } else {
        Text();
      }
    }
    if (!FOpen.empty()) Fail(FPosition, "The document ends inside of the element \"" + string(FOpen.back()) + "\".");
    if (FRules != TVqXMLRules::rContent && !FHasRoot) Fail(FPosition, "The document has no root element.");
    if (FCopied == 0) return false;
    FRewritten.append(FText.substr(FCopied));
    return true;
  }

 private:
  static std::int64_t Signed(std::size_t value) { return static_cast<std::int64_t>(value); }
  [[noreturn]] void Fail(std::size_t position, const string& message) const { FailAt(FText, position, message); }

  bool At(std::string_view what) const { return FText.substr(FPosition, what.size()) == what; }
  char Peek() const { return FPosition < FText.size() ? FText[FPosition] : '\0'; }
  bool End() const { return FPosition >= FText.size(); }

  /// A character that XML forbids at `[from, to)`: replaced in a reply, refused elsewhere.
  void Forbidden(std::size_t from, std::size_t to) {
    if (FRules != TVqXMLRules::rReply) Fail(from, "A character that XML cannot carry.");
    FRewritten.append(FText.substr(FCopied, from - FCopied)).append("\xEF\xBF\xBD");
    FCopied = to;
    if (FRewritten.size() > FLimits.MaxBytes) Fail(from, "The document grows too large.");
  }

  /// The character at the position, as it is to be read, and its length.
  char32_t Character(std::size_t& length) const {
    const auto byte = static_cast<unsigned char>(FText[FPosition]);
    length = 1;
    if (byte < 0x80) return byte;
    const char32_t c = DecodeUtf8(FText, FPosition, length);
    if (length == 0) Fail(FPosition, "Bytes that are no text in the document's encoding.");
    return c;
  }
  /// Steps over one character of text, a comment, and the like.
  void Step() {
    std::size_t length;
    if (!IsXmlChar(Character(length))) Forbidden(FPosition, FPosition + length);
    FPosition += length;
  }

  bool SkipSpace() {
    const std::size_t from = FPosition;
    while (FPosition < FText.size() && IsXmlSpace(FText[FPosition])) ++FPosition;
    return FPosition != from;
  }

  std::string_view Name(const char* expected) {
    const std::size_t from = FPosition;
    while (!End()) {
      std::size_t length;
      const char32_t c = Character(length);
      const char32_t read = IsXmlChar(c) ? c : 0xFFFD;
      if (!(FPosition == from ? IsNameStart(read) : IsNameChar(read))) break;
      if (read != c) Forbidden(FPosition, FPosition + length);
      FPosition += length;
      if (FPosition - from > FLimits.MaxNameLength) {
        Fail(from, Format("A name has more than %d bytes.", {std::int64_t{FLimits.MaxNameLength}}));
      }
    }
    if (FPosition == from) Fail(from, expected);
    return FText.substr(from, FPosition - from);
  }

  void CountNode() {
    if (++FNodes > FLimits.MaxNodes) {
      Fail(FPosition, Format("The document has more than %d nodes.", {std::int64_t{FLimits.MaxNodes}}));
    }
  }

  void Reference() {
    const std::size_t from = FPosition++;
    if (Peek() != '#') {
      for (const std::string_view known : {"lt;", "gt;", "amp;", "quot;", "apos;"}) {
        if (!At(known)) continue;
        FPosition += known.size();
        return;
      }
      std::size_t to = FPosition;
      while (to < FText.size() && (IsNameChar(static_cast<unsigned char>(FText[to])) && to - FPosition < 32)) ++to;
      if (to == FPosition || to >= FText.size() || FText[to] != ';') Fail(from, "An \"&\" that begins no reference.");
      Fail(from, "The entity \"" + string(FText.substr(FPosition, to - FPosition)) + "\" is not defined.");
    }
    ++FPosition;
    const bool hex = Peek() == 'x';
    if (hex) ++FPosition;
    const std::size_t digits = FPosition;
    char32_t value = 0;
    for (;; ++FPosition) {
      const char c = Peek();
      char32_t digit;
      if (c >= '0' && c <= '9') {
        digit = static_cast<char32_t>(c - '0');
      } else if (hex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))) {
        digit = static_cast<char32_t>((c | 0x20) - 'a' + 10);
      } else {
        break;
      }
      value = std::min<char32_t>(value * (hex ? 16 : 10) + digit, 0x110000);  // stays too large once it is
    }
    if (FPosition == digits || Peek() != ';') Fail(from, "An \"&\" that begins no reference.");
    ++FPosition;
    if (!IsXmlChar(value)) Forbidden(from, FPosition);
  }

  void Text() {
    const bool top = FOpen.empty() && FRules != TVqXMLRules::rContent;
    if (top) {
      SkipSpace();
      if (!End() && Peek() != '<') Fail(FPosition, "Text outside of the root element.");
      return;
    }
    CountNode();
    while (!End()) {
      while (FPosition < FText.size() && !kStops[static_cast<unsigned char>(FText[FPosition])]) ++FPosition;
      if (End() || Peek() == '<') return;
      if (Peek() == '&') {
        Reference();
      } else if (At("]]>")) {
        Fail(FPosition, "\"]]>\" in text.");
      } else {
        Step();
      }
    }
  }

  void Markup() {
    if (At("</")) {
      EndTag();
    } else if (At("<!--")) {
      Comment();
    } else if (At("<![CDATA[")) {
      Section();
    } else if (At("<!DOCTYPE")) {
      // Nothing that comes from the network may bring definitions along: they are the way to make a small text a
      // large one, and to read files.
      Fail(FPosition, "A document type declaration is not accepted.");
    } else if (At("<?")) {
      Instruction();
    } else {
      StartTag();
    }
  }

  void StartTag() {
    const std::size_t from = FPosition++;
    if (FOpen.empty() && FRules != TVqXMLRules::rContent) {
      if (FHasRoot) Fail(from, "A second root element.");
      FHasRoot = true;
    }
    const std::string_view name = Name("A \"<\" that begins no tag.");
    CountNode();
    FAttributes.clear();
    for (;;) {
      const bool space = SkipSpace();
      if (At("/>")) {
        if (FOpen.size() >= FLimits.MaxDepth) TooDeep(from);
        FPosition += 2;
        return;
      }
      if (Peek() == '>') {
        if (FOpen.size() >= FLimits.MaxDepth) TooDeep(from);
        ++FPosition;
        FOpen.push_back(name);
        return;
      }
      if (End()) Fail(FPosition, "The document ends inside of a tag.");
      if (!space) Fail(FPosition, "An attribute, \"/>\" or \">\" is expected.");
      Attribute();
    }
  }
  [[noreturn]] void TooDeep(std::size_t at) const {
    Fail(at, Format("The elements are nested more than %d deep.", {std::int64_t{FLimits.MaxDepth}}));
  }

  void Attribute() {
    const std::size_t from = FPosition;
    const std::string_view name = Name("An attribute, \"/>\" or \">\" is expected.");
    CountNode();
    if (std::find(FAttributes.begin(), FAttributes.end(), name) != FAttributes.end()) {
      Fail(from, "The attribute \"" + string(name) + "\" occurs twice.");
    }
    FAttributes.push_back(name);
    if (FAttributes.size() > FLimits.MaxAttributes) {
      Fail(from, Format("An element has more than %d attributes.", {std::int64_t{FLimits.MaxAttributes}}));
    }
    SkipSpace();
    if (Peek() != '=') Fail(FPosition, "The attribute \"" + string(name) + "\" has no value.");
    ++FPosition;
    SkipSpace();
    const char quote = Peek();
    if (quote != '"' && quote != '\'') Fail(FPosition, "The value of an attribute must be quoted.");
    ++FPosition;
    while (Peek() != quote || End()) {
      if (End()) Fail(FPosition, "The document ends inside of an attribute.");
      if (Peek() == '<') Fail(FPosition, "A \"<\" in the value of an attribute.");
      if (Peek() == '&') {
        Reference();
      } else {
        Step();
      }
    }
    ++FPosition;
  }

  void EndTag() {
    const std::size_t from = FPosition;
    FPosition += 2;
    const std::string_view name = Name("A \"</\" that begins no tag.");
    SkipSpace();
    if (Peek() != '>') Fail(FPosition, "A \">\" is expected.");
    ++FPosition;
    if (FOpen.empty()) Fail(from, "The end of \"" + string(name) + "\" has no beginning.");
    if (FOpen.back() != name) {
      Fail(from, "The end of \"" + string(name) + "\" where \"" + string(FOpen.back()) + "\" is open.");
    }
    FOpen.pop_back();
  }

  void Comment() {
    const std::size_t from = FPosition;
    CountNode();
    FPosition += 4;
    while (!At("--")) {
      if (End()) Fail(from, "The document ends inside of a comment.");
      Step();
    }
    if (!At("-->")) Fail(FPosition, "\"--\" in a comment.");
    FPosition += 3;
  }

  void Section() {
    const std::size_t from = FPosition;
    if (FOpen.empty() && FRules != TVqXMLRules::rContent) Fail(from, "Text outside of the root element.");
    CountNode();
    FPosition += 9;
    while (!At("]]>")) {
      if (End()) Fail(from, "The document ends inside of a CDATA section.");
      Step();
    }
    FPosition += 3;
  }

  void Instruction() {
    const std::size_t from = FPosition;
    CountNode();
    FPosition += 2;
    const std::string_view target = Name("A \"<?\" that begins no processing instruction.");
    if (target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' && (target[2] | 0x20) == 'l') {
      Fail(from, "An XML declaration stands only at the start of a document.");
    }
    if (!At("?>") && !SkipSpace()) Fail(FPosition, "A blank or \"?>\" is expected.");
    while (!At("?>")) {
      if (End()) Fail(from, "The document ends inside of a processing instruction.");
      Step();
    }
    FPosition += 2;
  }

  std::string_view FText;
  TVqXMLRules FRules;
  const TVqXMLLimits& FLimits;
  std::string& FRewritten;
  std::size_t FPosition = 0;
  std::size_t FCopied = 0;  // what stands before is in FRewritten
  std::size_t FNodes = 0;
  bool FHasRoot = false;
  std::vector<std::string_view> FOpen;
  std::vector<std::string_view> FAttributes;
};

}  // namespace

bool CheckMarkup(std::string_view text, TVqXMLRules rules, const TVqXMLLimits& limits, std::string& rewritten) {
  rewritten.clear();
  return TChecker(text, rules, limits, rewritten).Run();
}

TVqXMLDeclaration ReadDeclaration(std::string_view text) {
  TVqXMLDeclaration declaration;
  if (!text.starts_with("<?xml") || text.size() < 6 || !(IsXmlSpace(text[5]) || text[5] == '?')) return declaration;
  std::size_t at = 5;
  const auto space = [&] {
    const std::size_t from = at;
    while (at < text.size() && IsXmlSpace(text[at])) ++at;
    return at != from;
  };
  const auto fail = [&] { FailAt(text, at, "The XML declaration is wrong."); };
  int next = 0;  // version, encoding, standalone, in this order
  for (;;) {
    const bool blank = space();
    if (text.substr(at, 2) == "?>") break;
    static constexpr std::string_view kNames[] = {"version", "encoding", "standalone"};
    int which = next;
    while (which < 3 && text.substr(at, kNames[which].size()) != kNames[which]) ++which;
    if (which == 3 || !blank || (next == 0 && which != 0)) fail();
    at += kNames[which].size();
    space();
    if (at >= text.size() || text[at] != '=') fail();
    ++at;
    space();
    const char quote = at < text.size() ? text[at] : '\0';
    const std::size_t from = at + 1;
    const std::size_t to = quote == '"' || quote == '\'' ? text.find(quote, from) : std::string_view::npos;
    if (to == std::string_view::npos) fail();
    const std::string_view value = text.substr(from, to - from);
    const auto all = [&](std::string_view from_second, auto allowed) {
      return std::all_of(from_second.begin(), from_second.end(), allowed);
    };
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    bool good;
    if (which == 0) {
      good = value.size() > 2 && value.starts_with("1.") && all(value.substr(2), digit);
    } else if (which == 1) {
      good = !value.empty() && letter(value[0]) &&
             all(value.substr(1), [&](char c) { return letter(c) || digit(c) || c == '.' || c == '_' || c == '-'; });
      declaration.Encoding = value;
      declaration.EncodingAt = from;
    } else {
      good = value == "yes" || value == "no";
    }
    if (!good) fail();
    at = to + 1;
    next = which + 1;
  }
  if (next == 0) fail();
  declaration.End = at + 2;
  return declaration;
}

}  // namespace velmore::detail
