#include "tests/wire/ReplyMutationsTestSupport.h"

#include <array>
#include <cctype>
#include <string_view>

namespace velmore::testing {
namespace {

constexpr std::size_t kHuge = 1 << 20;

/// Places of texts between tags and of values between quotes, numbers alone where it is told.
std::vector<std::pair<std::size_t, std::size_t>> TextsOf(const std::string& reply, bool numbers) {
  std::vector<std::pair<std::size_t, std::size_t>> texts;
  const auto take = [&](std::size_t from, std::size_t to) {
    if (from >= to) return;
    for (std::size_t i = from; numbers && i < to; ++i)
      if (std::isdigit(static_cast<unsigned char>(reply[i])) == 0) return;
    texts.emplace_back(from, to);
  };
  for (std::size_t at = 0; at < reply.size(); ++at) {
    const char c = reply[at];
    if (c != '>' && c != '"') continue;
    const std::size_t to = reply.find(c == '>' ? '<' : '"', at + 1);
    if (to == std::string::npos) break;
    take(at + 1, to);
    at = c == '>' ? to - 1 : to;
  }
  return texts;
}

}  // namespace

std::vector<TReplyMutator::TElement> TReplyMutator::ElementsOf(const std::string& reply) {
  std::vector<TElement> elements;
  std::vector<std::size_t> open;
  for (std::size_t at = reply.find('<'); at != std::string::npos; at = reply.find('<', at + 1)) {
    const std::size_t end = reply.find('>', at);
    if (end == std::string::npos) break;
    if (reply[at + 1] == '?' || reply[at + 1] == '!') continue;
    if (reply[at + 1] == '/') {
      if (open.empty()) break;
      elements[open.back()].InsideEnd = at;
      elements[open.back()].End = end + 1;
      open.pop_back();
      continue;
    }
    elements.push_back({at, end + 1, end + 1, end + 1, open.empty() ? elements.size() : open.back()});
    if (reply[end - 1] != '/') open.push_back(elements.size() - 1);
  }
  return elements;
}

std::string TReplyMutator::Change(std::string reply) {
  const std::string original = reply;
  const std::vector<TElement> elements = ElementsOf(reply);
  const TElement& any = elements[elements.size() < 2 ? 0 : 1 + Below(elements.size() - 1)];
  const auto name = [&](const TElement& element) {
    const std::size_t from = element.Start + 1;
    return reply.substr(from, reply.find_first_of(" />", from) - from);
  };
  const auto text_with = [&](bool numbers, const std::string& with) {
    const auto texts = TextsOf(reply, numbers);
    if (texts.empty()) return;
    const auto [from, to] = texts[Below(texts.size())];
    reply.replace(from, to - from, with);
  };
  switch (Below(15)) {
    case 0:
      FKind = "bits";
      for (std::size_t i = 1 + Below(4); i > 0; --i) reply[Below(reply.size())] ^= static_cast<char>(1 << Below(8));
      break;
    case 1:
      FKind = "cut";
      reply.resize(Below(reply.size()));
      break;
    case 2:
      FKind = "doubled";
      reply.insert(any.End, reply.substr(any.Start, any.End - any.Start));
      break;
    case 3: {
      FKind = "swapped";
      const TElement& other = elements[Below(elements.size())];
      const TElement& first = other.Start < any.Start ? other : any;
      const TElement& second = other.Start < any.Start ? any : other;
      if (first.End > second.Start) break;  // one inside of the other
      const std::string a = reply.substr(first.Start, first.End - first.Start);
      const std::string b = reply.substr(second.Start, second.End - second.Start);
      reply.replace(second.Start, b.size(), a);
      reply.replace(first.Start, a.size(), b);
      break;
    }
    case 4:
      FKind = "dropped";
      reply.erase(any.Start, any.End - any.Start);
      break;
    case 5:
      FKind = "emptied";
      reply.erase(any.Inside, any.InsideEnd - any.Inside);
      break;
    case 6: {
      FKind = "number";
      static constexpr std::array kNumbers = {
          "-1",          "0",          "2147483647",           "2147483648",
          "-2147483649", "4294967296", "18446744073709551616", "99999999999999999999999999",
          "1e308",       "NaN",        "0x7FFFFFFF",           ""};
      text_with(true, kNumbers[Below(kNumbers.size())]);
      break;
    }
    case 7: {
      FKind = "foreign";
      static constexpr std::array kForeign = {"<x:Foreign xmlns:x=\"urn:x\" x:a=\"1\"><x:b/></x:Foreign>",
                                              "<Foreign xmlns=\"urn:x\">1</Foreign>",
                                              "<t:FromTomorrow xmlns:t=\"http://schemas.microsoft.com/exchange/"
                                              "services/2006/types\">text</t:FromTomorrow>",
                                              "<!-- a comment -->",
                                              "<?pi?>",
                                              "stray text"};
      reply.insert(Below(2) == 0 ? any.Start : any.InsideEnd, kForeign[Below(kForeign.size())]);
      break;
    }
    case 8: {
      FKind = "renamed";
      static constexpr std::array kNames = {"t:Task",  "t:Message", "t:CalendarItem", "t:Contact",
                                            "t:Items", "m:ItemIds", "t:Folder",       "t:String",
                                            "Unheard", "m:Fault",   "t:AbchPerson",   "t:RoleMember"};
      const std::string with = kNames[Below(kNames.size())];
      const std::string former = name(any);
      if (any.End > any.InsideEnd) reply.replace(any.InsideEnd + 2, former.size(), with);
      reply.replace(any.Start + 1, former.size(), with);
      break;
    }
    case 9:
      FKind = "long text";
      text_with(false, std::string(kHuge, 'x'));
      break;
    case 10:
      FKind = "long name";
      reply.insert(any.InsideEnd, "<" + std::string(kHuge, 'x') + "/>");
      break;
    case 11: {
      FKind = "other text";
      static constexpr std::array kTexts = {
          "",   "&#x1F;", "true",      "Exchange2099", "\xF0\x9F\x98\x80", "=", "AAMk", "9999-12-31T23:59:59Z",
          "PT", "{}",     "../../etc", "]]&gt;"};
      text_with(false, kTexts[Below(kTexts.size())]);
      break;
    }
    case 12:
      FKind = "another answer";
      if (!FFormer.empty()) reply = FFormer;
      break;
    case 13: {
      FKind = "many";
      const std::string copy = reply.substr(any.Start, any.End - any.Start);
      std::string copies;
      for (std::size_t i = 0; i < 2000 && copies.size() < kHuge; ++i) copies += copy;
      reply.insert(any.End, copies);
      break;
    }
    default: {
      FKind = "deep";
      std::string opening, closing;
      for (std::size_t i = 1 + Below(400); i > 0; --i) {
        opening += "<t:Restriction>";
        closing += "</t:Restriction>";
      }
      reply.insert(any.InsideEnd, closing);
      reply.insert(any.Inside, opening);
    }
  }
  FFormer = original;
  return reply;
}

}  // namespace velmore::testing
