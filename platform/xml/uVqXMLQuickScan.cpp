// The quick look at markup: everything that the parser lets pass, found without a tree and nearly without a branch.
//
// It works on bits, 64 bytes of text at a time. As long as "<" and ">" alternate, all that lies from one to the next is
// a tag; within tags, quotes alternate. Whatever breaks this order, legal or not (a ">" in a text is), is left to the
// strict reading, and what remains has a structure that is known exactly.

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/xml/uVqXMLQuickScan_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

/// Reads the reference at `at` (an ampersand); false when it is none that may stand in a reply without further ado.
bool GoodReference(std::string_view text, std::size_t at) noexcept {
  const std::string_view rest = text.substr(at + 1, 12);
  if (rest.starts_with("lt;") || rest.starts_with("gt;") || rest.starts_with("amp;")) return true;
  if (rest.starts_with("quot;") || rest.starts_with("apos;")) return true;
  if (!rest.starts_with('#')) return false;
  const bool hex = rest.size() > 1 && rest[1] == 'x';
  std::size_t i = hex ? 2 : 1;
  const std::size_t digits = i;
  char32_t value = 0;
  for (; i < rest.size(); ++i) {
    const char c = rest[i];
    char32_t digit;
    if (c >= '0' && c <= '9') {
      digit = static_cast<char32_t>(c - '0');
    } else if (hex && ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')) {
      digit = static_cast<char32_t>((c | 0x20) - 'a' + 10);
    } else {
      break;
    }
    value = value * (hex ? 16 : 10) + digit;
    if (value > 0x10FFFF) return false;
  }
  return i > digits && i < rest.size() && rest[i] == ';' && IsXmlChar(value);
}

/// Which of the eight bytes in front of `end` are blanks or controls: the top bit of each, the last byte highest.
std::uint64_t BlanksBefore(const char* end) noexcept {
  std::uint64_t bytes;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&bytes, end - 8, 8);
  } else {
    bytes = 0;
    for (int i = 1; i <= 8; ++i) bytes = bytes << 8 | static_cast<unsigned char>(end[-i]);
  }
  // Adding reaches the top bit of each byte that is more than a blank, and never the next byte.
  return ~(((bytes & 0x7F7F7F7F7F7F7F7Fu) + 0x5F5F5F5F5F5F5F5Fu) | bytes) & 0x8080808080808080u;
}

/// The place behind the last blank or control in front of `end`; 0 when there is none. Names are too short for a loop
/// over bytes: its last turn cannot be foreseen, and that takes longer than all others.
std::size_t BehindBlank(const char* text, std::size_t end) noexcept {
  for (; end >= 16; end -= 16) {
    const std::uint64_t near = BlanksBefore(text + end), far = BlanksBefore(text + end - 8);
    const auto bits = static_cast<std::size_t>(near != 0 ? std::countl_zero(near) : 64 + std::countl_zero(far));
    if ((near | far) != 0) return end - bits / 8;
  }
  while (end > 0 && static_cast<unsigned char>(text[end - 1]) > ' ') --end;
  return end;
}

/// Attributes and special characters, found by the kernels.
class TScanner {
 public:
  TScanner(std::string_view text, TVqScan& result) : FText(text), FResult(result) {}

  /// Blocks from `at` on come next; `elements` have begun in front of it.
  void From(std::size_t at, std::int64_t elements) noexcept {
    FFrom = at;
    FElements = static_cast<std::size_t>(elements);
  }

  /// The block at `at`; false when it is for the strict reading.
  bool Block(const TVqMasks& masks, std::size_t at) {
    for (std::uint64_t quotes = masks.Opening; quotes != 0; quotes &= quotes - 1) {
      if (!Attribute(at + static_cast<std::size_t>(std::countr_zero(quotes)))) return false;
    }
    for (std::uint64_t special = masks.Special; special != 0; special &= special - 1) {
      if (!Special(at + static_cast<std::size_t>(std::countr_zero(special)))) return false;
    }
    return true;
  }

  std::size_t Attributes() const noexcept { return FAttributes; }

 private:
  /// The attribute whose value begins at a quote.
  bool Attribute(std::size_t quote) {
    const char* const text = FText.data();
    // What has blanks around the "=" is left to the strict reading.
    const std::size_t end = quote - 1;
    if (text[end] != '=') return false;
    const std::size_t begin = BehindBlank(text, end);
    const std::string_view name = FText.substr(begin, end - begin);
    if (name.empty() || begin < 2 || name.size() > 64) return false;
    ++FAttributes;
    const std::size_t before = Before(begin);
    if (text[before] != '"') FNames = 0;
    // The last letter and the length tell nearly always that the name is new.
    const std::uint64_t mark = std::uint64_t{1} << ((static_cast<unsigned char>(name.back()) + 8 * name.size()) & 63);
    if ((FNames & mark) != 0 && Occurs(name, before)) return false;
    FNames |= mark;
    if (name[0] == 'x' && name.starts_with("xmlns") && (name.size() == 5 || name[5] == ':')) {
      Declaration(quote, name.substr(name.size() == 5 ? 5 : 6));
    }
    return true;
  }

  /// The byte in front of an attribute's name, blanks aside: a quote if it closes the value of another one in the tag.
  std::size_t Before(std::size_t name) const noexcept {
    do {
      --name;
    } while (name > 0 && static_cast<unsigned char>(FText[name]) <= ' ');
    return name;
  }

  /// Has one of the attributes up to the quote at `before` this name? More than a few are left to the strict reading.
  bool Occurs(std::string_view name, std::size_t before) const noexcept {
    for (int i = 0; FText[before] == '"'; ++i) {
      const std::size_t quote = FText.rfind('"', before - 1);
      // Attributes that are not apart from each other, an error, lead this astray.
      if (i == kMost || quote == std::string_view::npos || quote == 0) return true;
      const std::size_t begin = BehindBlank(FText.data(), quote - 1);
      if (begin < 2 || FText.substr(begin, quote - 1 - begin) == name) return true;
      before = Before(begin);
    }
    return false;
  }

  void Declaration(std::size_t quote, std::string_view prefix) {
    const std::size_t end = FText.find('"', quote + 1);
    if (end == std::string_view::npos) return;
    const std::string_view uri = FText.substr(quote + 1, end - quote - 1);
    // Each by the C library's own search, which takes the usual address at two steps.
    const auto has = [&](char c) { return uri.find(c) != std::string_view::npos; };
    if (FResult.Declarations.size() >= 64 || has('&') || has('\t') || has('\r') || has('\n')) {
      FResult.AllDeclarations = false;
      return;
    }
    // The elements that have begun since the block, or since the declaration before this one.
    const std::string_view past = FText.substr(0, quote - 1);
    for (std::size_t i = std::max<std::size_t>(FFrom, 1) - 1; (i = past.find('<', i)) != past.npos; ++i) {
      if (FText[i + 1] != '/') ++FElements;
    }
    FFrom = quote;
    if (FResult.Declarations.empty()) FResult.Declarations.reserve(8);
    FResult.Declarations.push_back({FElements, std::string(prefix), std::string(uri)});
  }

  /// A character of a text, or of a value, that is more than itself.
  bool Special(std::size_t at) noexcept {
    const auto c = static_cast<unsigned char>(FText[at]);
    if (c == '&') return GoodReference(FText, at);
    if (c < 0x80) return c >= ' ';
    // A character has several bytes, and each of them comes by here.
    while (at >= FChecked && at < FText.size() && static_cast<unsigned char>(FText[at]) >= 0x80) {
      std::size_t length;
      const char32_t character = DecodeUtf8(FText, at, length);
      if (length == 0 || character == 0xFFFE || character == 0xFFFF) return false;
      at += length;
      FChecked = at;
    }
    return true;
  }

  static constexpr int kMost = 16;

  std::string_view FText;
  TVqScan& FResult;
  std::size_t FFrom = 0, FElements = 0;
  std::size_t FChecked = 0;  // characters beyond ASCII are checked up to here
  std::size_t FAttributes = 0;
  std::uint64_t FNames = 0;  // a bit for each attribute so far of the tag, several may share one
};

}  // namespace

TVqScan QuickScan(std::string_view text, const TVqXMLLimits& limits, const TVqScanKernel* kernel) {
  TVqScan result;
  // Limits so narrow that the shortcuts above do not see them.
  if (limits.MaxAttributes < 64 || limits.MaxNameLength < 128) return result;
  if (!kernel) kernel = &ScanKernels().front();
  TScanner scanner(text, result);
  static constexpr std::size_t kBlocks = 32;
  TVqMasks masks[kBlocks];
  TVqScanState state;
  const auto clean = [&](const char* bytes, std::size_t blocks, std::size_t at) {
    scanner.From(at, state.Elements);
    kernel->Fill(bytes, blocks, masks, state);
    if (state.Bad != 0 || state.Deepest > limits.MaxDepth) return false;
    for (std::size_t i = 0; i < blocks; ++i) {
      if ((masks[i].Opening | masks[i].Special) != 0 && !scanner.Block(masks[i], at + 64 * i)) return false;
    }
    return true;
  };
  std::size_t at = 0;
  while (text.size() - at >= 64) {
    const std::size_t blocks = std::min(kBlocks, (text.size() - at) / 64);
    if (!clean(text.data() + at, blocks, at)) return result;
    at += 64 * blocks;
  }
  char tail[64];
  std::memset(tail, ' ', sizeof tail);
  std::memcpy(tail, text.data() + at, text.size() - at);
  // Elements, a text behind the tag at either end of each, and attributes.
  result.Clean =
      clean(tail, 1, at) && 3 * static_cast<std::size_t>(state.Elements) + scanner.Attributes() <= limits.MaxNodes;
  return result;
}

}  // namespace velmore::detail
