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

constexpr std::uint64_t Below(unsigned bit) noexcept {
  return (std::uint64_t{1} << bit) - 1;
}
constexpr std::uint64_t From(unsigned bit) noexcept {
  return ~Below(bit);
}

class TScanner {
 public:
  TScanner(std::string_view text, const TVqXMLLimits& limits, TVqScan& result)
      : FText(text), FLimits(limits), FResult(result) {}

  /// The 64 bytes at `base`; false when they are for the strict reading.
  bool Block(const TVqMasks& masks, std::size_t base) {
    if (masks.Rare) return false;
    const std::uint64_t tag = masks.Inside ^ FInside;
    const std::uint64_t before = tag ^ (masks.Less | masks.Greater);
    // A "<" belongs outside of tags, and a ">" to the end of one.
    std::uint64_t bad = (masks.Less | masks.Greater) & (before ^ masks.Greater);
    FInside = std::uint64_t{0} - (tag >> 63);

    std::uint64_t values = 0;
    if (FInValue || (masks.Quote & tag) != 0) {
      if (!Values(masks, masks.Quote & tag, base, values)) return false;
    }
    // Quotes of the other kind, and letters beyond ASCII in names.
    bad |= (masks.Apostrophe | masks.High) & tag & ~values;
    // A name that goes on for a whole block.
    if (bad != 0 || (tag & ~values) == ~std::uint64_t{0}) return false;
    if ((masks.High | masks.Reference) != 0 && !Details(masks, base)) return false;

    if (masks.Less != 0) FTag = base + 63 - static_cast<std::size_t>(std::countl_zero(masks.Less));
    FTags += masks.Tags;
    FEnds += masks.Ends;
    FSelfs += masks.Selfs;
    // At most so deep, wherever in the block.
    return FTags - 2 * FEnds - FSelfs + masks.Selfs + masks.Ends <= FLimits.MaxDepth;
  }

  bool Finished() const noexcept { return FTags + FTags + FAttributes <= FLimits.MaxNodes; }

 private:
  /// Steps through the values of attributes in a block and gives the bits of these.
  bool Values(const TVqMasks& masks, std::uint64_t quotes, std::size_t base, std::uint64_t& values) {
    const std::uint64_t ends = masks.Less | masks.Greater;
    if (FInValue) {
      const std::uint64_t bits =
          quotes == 0 ? ~std::uint64_t{0} : Below(static_cast<unsigned>(std::countr_zero(quotes)));
      if ((ends & bits) != 0) return false;
      values |= bits;
      if (quotes == 0) return true;
      quotes &= quotes - 1;
      FInValue = false;
    }
    while (quotes != 0) {
      const auto first = static_cast<unsigned>(std::countr_zero(quotes));
      quotes &= quotes - 1;
      const std::uint64_t starts = masks.Less & Below(first);
      if (starts != 0) FTag = base + 63 - static_cast<std::size_t>(std::countl_zero(starts));
      if (!Attribute(base, base + first)) return false;
      const auto last = static_cast<unsigned>(quotes == 0 ? 64 : std::countr_zero(quotes));
      const std::uint64_t bits = From(first) & (last == 64 ? ~std::uint64_t{0} : Below(last));
      if ((ends & bits) != 0) return false;
      values |= bits;
      FInValue = quotes == 0;
      quotes &= quotes - 1;
    }
    return true;
  }

  /// The attribute whose value begins at a quote, in the tag at `FTag`.
  bool Attribute(std::size_t base, std::size_t quote) {
    const char* const text = FText.data();
    // What has blanks around the "=" is left to the strict reading.
    if (quote < 2 || text[quote - 1] != '=') return false;
    const std::size_t end = quote - 1;
    std::size_t begin = end;
    while (begin > 0 && static_cast<unsigned char>(text[begin - 1]) > ' ' && text[begin - 1] != '<') --begin;
    const std::string_view name = FText.substr(begin, end - begin);
    if (name.empty() || name.size() > 64) return false;
    ++FAttributes;
    if (FTag != FTagOfNames) {
      FTagOfNames = FTag;
      FCount = 0;
    }
    // More than a few are left to the strict reading, as each one is compared with all before it.
    if (FCount == kMost) return false;
    for (std::size_t i = 0; i < FCount; ++i) {
      if (FNames[i].back() == name.back() && FNames[i] == name) return false;
    }
    FNames[FCount++] = name;
    if (name[0] == 'x' && name.starts_with("xmlns") && (name.size() == 5 || name[5] == ':')) {
      Declaration(base, quote, name.substr(name.size() == 5 ? 5 : 6));
    }
    return true;
  }

  void Declaration(std::size_t base, std::size_t quote, std::string_view prefix) {
    const std::size_t end = FText.find('"', quote + 1);
    if (end == std::string_view::npos) return;
    const std::string_view uri = FText.substr(quote + 1, end - quote - 1);
    if (FResult.Declarations.size() >= 64 || uri.find_first_of("&\t\r\n") != std::string_view::npos) {
      FResult.AllDeclarations = false;
      return;
    }
    // Which start tag this is: all tags so far, less the end tags.
    std::size_t element = FTags - FEnds;
    for (std::size_t i = base; i < quote; ++i) {
      if (FText[i] == '<') ++element;
      if (FText[i] == '/' && i > 0 && FText[i - 1] == '<') --element;
    }
    FResult.Declarations.push_back({element, std::string(prefix), std::string(uri)});
  }

  /// Characters beyond ASCII, and references.
  bool Details(const TVqMasks& masks, std::size_t base) noexcept {
    for (std::uint64_t high = masks.High; high != 0; high &= high - 1) {
      std::size_t at = base + static_cast<std::size_t>(std::countr_zero(high));
      if (at < FChecked) continue;
      while (at < FText.size() && static_cast<unsigned char>(FText[at]) >= 0x80) {
        std::size_t length;
        const char32_t c = DecodeUtf8(FText, at, length);
        if (length == 0 || c == 0xFFFE || c == 0xFFFF) return false;
        at += length;
      }
      FChecked = at;
    }
    for (std::uint64_t references = masks.Reference; references != 0; references &= references - 1) {
      if (!GoodReference(FText, base + static_cast<std::size_t>(std::countr_zero(references)))) return false;
    }
    return true;
  }

  static constexpr std::size_t kMost = 16;

  std::string_view FText;
  const TVqXMLLimits& FLimits;
  TVqScan& FResult;
  std::uint64_t FInside = 0;  // all bits set while a tag goes on from one block to the next
  bool FInValue = false;
  std::size_t FChecked = 0;  // characters beyond ASCII are checked up to here
  std::size_t FTags = 0, FEnds = 0, FSelfs = 0, FAttributes = 0;
  std::size_t FTag = 0;         // where the last tag began
  std::size_t FTagOfNames = 0;  // the tag that FNames belong to
  std::size_t FCount = 0;
  std::string_view FNames[kMost];
};

}  // namespace

TVqScan QuickScan(std::string_view text, const TVqXMLLimits& limits, const TVqScanKernel* kernel) {
  TVqScan result;
  // Limits so narrow that the shortcuts above do not see them.
  if (limits.MaxAttributes < 16 || limits.MaxNameLength < 128) return result;
  if (!kernel) kernel = &ScanKernels().front();
  TScanner scanner(text, limits, result);
  static constexpr std::size_t kBlocks = 32;
  TVqMasks masks[kBlocks];
  unsigned carry = 0;
  std::size_t at = 0;
  while (text.size() - at >= 64) {
    const std::size_t blocks = std::min(kBlocks, (text.size() - at) / 64);
    kernel->Fill(text.data() + at, blocks, masks, carry);
    for (std::size_t i = 0; i < blocks; ++i, at += 64) {
      if (!scanner.Block(masks[i], at)) return result;
    }
  }
  char tail[64];
  std::memset(tail, ' ', sizeof tail);
  std::memcpy(tail, text.data() + at, text.size() - at);
  kernel->Fill(tail, 1, masks, carry);
  result.Clean = scanner.Block(masks[0], at) && scanner.Finished();
  return result;
}

}  // namespace velmore::detail
