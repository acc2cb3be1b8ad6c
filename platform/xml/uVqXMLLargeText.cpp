#include "platform/xml/internal/uVqXMLLargeText.h"

#include <algorithm>
#include <charconv>

#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

/// Is the "<" at `at` the start tag of an element of this local name? Gives the place behind the name, or npos.
std::size_t BehindName(std::string_view bytes, std::size_t at, std::string_view localName) {
  // Prefixes are short; what is longer is not looked at.
  constexpr std::size_t kMostPrefix = 64;
  const std::string_view tag = bytes.substr(at + 1, kMostPrefix + localName.size() + 1);
  const std::size_t colon = tag.find_first_of(": \t\r\n/>");
  const std::size_t from = colon != std::string_view::npos && tag[colon] == ':' ? colon + 1 : 0;
  if (tag.substr(from, localName.size()) != localName) return std::string_view::npos;
  const std::size_t behind = from + localName.size();
  if (behind >= tag.size() || std::string_view(" \t\r\n/>").find(tag[behind]) == std::string_view::npos)
    return std::string_view::npos;
  return at + 1 + behind;
}

/// The ">" that ends a start tag, behind values that may have one, too; npos when there is none.
std::size_t EndOfTag(std::string_view bytes, std::size_t from) {
  for (;;) {
    const std::size_t at = bytes.find_first_of("<>\"'", from);
    if (at == std::string_view::npos || bytes[at] == '<') return std::string_view::npos;
    if (bytes[at] == '>') return at;
    from = bytes.find(bytes[at], at + 1);
    if (from == std::string_view::npos) return from;
    ++from;
  }
}

/// What the parser reads otherwise than it is written, or not at all; "-" and "]" as they end comments and sections.
/// Without an early end, so that compilers look at many bytes at once.
bool IsPlain(std::string_view text) {
  const auto foreign = std::count_if(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < ' ' && c != '\t' && c != '\n' && c != '\r') || byte >= 0x7F || c == '&' || c == '-' || c == ']';
  });
  return foreign == 0;
}

/// Where a text stands; nothing when both are the same.
struct TPlace {
  std::size_t Start = 0;
  std::size_t End = 0;
};

/// The text of the next element of this local name, if it is one to be cut. `from` goes behind its start tag, or is
/// npos when there is no more such element.
TPlace FindText(std::string_view bytes, std::string_view localName, std::size_t& from) {
  std::size_t name = std::string::npos;
  for (std::size_t at = bytes.find('<', from); at != std::string::npos; at = bytes.find('<', at + 1)) {
    name = BehindName(bytes, at, localName);
    if (name != std::string::npos) break;
  }
  from = name;
  if (name == std::string::npos) return {};
  std::size_t start = EndOfTag(bytes, name);
  if (start == std::string::npos || bytes[start - 1] == '/') return {};
  ++start;
  const std::size_t end = bytes.find('<', start);
  // A text in several pieces, around a comment or a section, is for the parser.
  if (end == std::string::npos || end == start || bytes.compare(end, 2, "</") != 0) return {};
  if (!IsPlain(bytes.substr(start, end - start))) return {};
  from = end;
  return {start, end};
}

constexpr char kMark = '#';  // no base64 has it

}  // namespace

TVqSharedText CutText(std::string& bytes, std::string_view localName) {
  std::size_t from = 0;
  const auto [start, end] = FindText(bytes, localName, from);
  if (end == start) return nullptr;

  // The text is what is large: it stays where it is, and what is around it moves.
  std::string around;
  around.reserve(bytes.size() - (end - start));
  around.append(bytes, 0, start).append(bytes, end);
  std::string text = std::move(bytes);
  bytes = std::move(around);
  text.resize(end);
  text.erase(0, start);
  if (text.find('\r') != std::string::npos) text = WithLines(text);
  return std::make_shared<const std::string>(std::move(text));
}

TVqCutTexts CutTexts(std::string& bytes, std::string_view localName) {
  auto whole = std::make_shared<const std::string>(std::move(bytes));
  TVqCutTexts texts{whole, {}};
  bytes.clear();
  std::size_t copied = 0;
  for (std::size_t from = 0; from != std::string::npos;) {
    const auto [start, end] = FindText(*whole, localName, from);
    if (end == start) continue;
    bytes.append(*whole, copied, start - copied).append(1, kMark).append(std::to_string(texts.Texts.size()));
    texts.Texts.push_back(std::string_view(*whole).substr(start, end - start));
    copied = end;
  }
  bytes.append(*whole, copied);
  return texts;
}

std::string_view CutTextOf(const TVqCutTexts& texts, const IVqDOMElement& element, std::string& own) {
  own = element.GetTextAsUtf8();
  std::size_t which = texts.Texts.size();
  if (!own.empty() && own.front() == kMark) std::from_chars(own.data() + 1, own.data() + own.size(), which);
  return which < texts.Texts.size() ? texts.Texts[which] : std::string_view(own);
}

void ShareText(const IVqDOMElement& target, TVqSharedText text) {
  TVqDOMData& data = WritableElement(target);
  const pugi::xml_node element = TVqDOMFactory::Node(target);
  PutText(data, element, "");
  if (text && !text->empty()) data.Apart[RawPointer(element)] = std::move(text);
}

TVqSharedText SharedTextOf(const IVqDOMElement& source) {
  if (!source) return nullptr;
  const TVqDOMData& data = *TVqDOMFactory::Data(source);
  const auto found = data.Apart.find(TVqDOMFactory::Pointer(source));
  if (found != data.Apart.end() && !TVqDOMFactory::Node(source).first_child()) return found->second;
  return std::make_shared<const std::string>(source.GetTextAsUtf8());
}

}  // namespace velmore::detail
