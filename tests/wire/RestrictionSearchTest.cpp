// Every restriction against a filter written by hand, over mailboxes made by chance.

#include <algorithm>
#include <random>
#include <set>

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

/// What the filter by hand knows of an item.
struct TMail {
  std::string Id;
  std::string Subject;
  std::string InReplyTo;  // empty: the item has none
  std::string Importance;
  bool Read = false;
  bool Classified = false;
  bool HasClassified = false;
  int Minutes = 0;  // reminder
  int Day = 1;      // of the reminder
  int Bits = 0;     // a MAPI property
};

class RestrictionSearch : public MailboxTest {
 protected:
  void Fill(unsigned seed, int count) {
    std::mt19937 random(seed);
    const auto pick = [&](const std::vector<std::string>& from) { return from[random() % from.size()]; };
    const std::vector<std::string> words = {"invoice", "Invoice", "INVOICE",   "voice", "report",  "Rapport", "Müller",
                                            "MÜLLER",  "Muller",  "caf\u00e9", "cafe",  "re-port", "in voice"};
    for (int i = 0; i < count; ++i) {
      TMail mail;
      mail.Subject = pick(words);
      for (auto more = random() % 3; more > 0; --more) mail.Subject += " " + pick(words);
      if (random() % 2) mail.InReplyTo = random() % 2 ? mail.Subject : pick(words);
      mail.Importance = pick({"Low", "Normal", "High"});
      mail.Read = random() % 2;
      mail.HasClassified = random() % 2;
      mail.Classified = mail.HasClassified && random() % 2;
      mail.Minutes = static_cast<int>(random() % 8);
      mail.Day = 1 + static_cast<int>(random() % 5);
      mail.Bits = static_cast<int>(random() % 8);
      std::string xml;
      if (mail.HasClassified)
        xml +=
            "<t:ExtendedProperty><t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-C000-000000000046\" "
            "PropertyId=\"34229\" PropertyType=\"Boolean\"/><t:Value>" +
            std::string(mail.Classified ? "true" : "false") + "</t:Value></t:ExtendedProperty>";
      xml += "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x26\" PropertyType=\"Integer\"/><t:Value>" +
             std::to_string(mail.Bits) + "</t:Value></t:ExtendedProperty>";
      xml = "<t:Message><t:Subject>" + mail.Subject + "</t:Subject><t:Importance>" + mail.Importance +
            "</t:Importance>" + (mail.InReplyTo.empty() ? "" : "<t:InReplyTo>" + mail.InReplyTo + "</t:InReplyTo>") +
            "<t:ReminderDueBy>2026-03-0" + std::to_string(mail.Day) + "T00:00:00Z</t:ReminderDueBy>" +
            "<t:ReminderMinutesBeforeStart>" + std::to_string(mail.Minutes) + "</t:ReminderMinutesBeforeStart>" + xml +
            "<t:IsRead>" + (mail.Read ? "true" : "false") + "</t:IsRead></t:Message>";
      mail.Id = Server().AddItem(kAlice, "inbox", xml).id;
      FMails.push_back(mail);
    }
    FItems = Inbox()->GetItems();
    FItems->SetMaxEntriesPerPage(200);
  }

  template <typename T>
  TVqRef<T> Make(TVqEWSRestrictionType type) {
    return Supports<T>(FItems->CreateRestriction(type));
  }
  TVqRef<IVqEWSRestriction> Compare(const TVqEWSFieldDef& field, TVqEWSRestrictionOperator op,
                                    const TVqVariant& value) {
    auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
    compare->SetFieldDef(field);
    compare->SetCompareOperator(op);
    compare->SetValue(value);
    return compare;
  }

  /// Both ways find the same items, and not always none or all of them.
  void Same(const std::string& what, const TVqRef<IVqEWSRestriction>& filter,
            const std::function<bool(const TMail&)>& wanted) {
    std::set<std::string> expected, found;
    for (const TMail& mail : FMails) {
      if (wanted(mail)) expected.insert(mail.Id);
    }
    FItems->Filter(filter);
    FItems->SetActive(true);
    EXPECT_EQ(static_cast<std::size_t>(FItems->Count()), expected.size()) << what;
    for (; !FItems->Eof(); FItems->Next()) found.insert(FItems->GetItemId().Id.utf8());
    EXPECT_EQ(found, expected) << what;
    if (!expected.empty() && expected.size() < FMails.size()) ++FTelling;
  }

  template <typename T>
  static bool Holds(TVqEWSRestrictionOperator op, const T& a, const T& b) {
    switch (op) {
      case opIsEqualTo:
        return a == b;
      case opIsNotEqualTo:
        return a != b;
      case opIsGreaterThan:
        return a > b;
      case opIsGreaterThanOrEqualTo:
        return a >= b;
      case opIsLessThan:
        return a < b;
      case opIsLessThanOrEqualTo:
        return a <= b;
    }
    return false;
  }
  static constexpr TVqEWSRestrictionOperator kOperators[] = {
      opIsEqualTo, opIsNotEqualTo, opIsGreaterThan, opIsGreaterThanOrEqualTo, opIsLessThan, opIsLessThanOrEqualTo};

  /// Without case, and without marks, for the few letters of the mailboxes.
  static std::string Folded(std::string text, bool ignoreCase, bool ignoreMarks) {
    const auto replace = [&](const std::string& from, const std::string& to) {
      for (std::size_t at; (at = text.find(from)) != std::string::npos;) text.replace(at, from.size(), to);
    };
    if (ignoreMarks) {
      replace("ü", "u");
      replace("Ü", "U");
      replace("é", "e");
    }
    if (ignoreCase) {
      replace("Ü", "ü");
      std::transform(text.begin(), text.end(), text.begin(),
                     [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    }
    return text;
  }
  static bool IsLetter(char c) { return (c & 0x80) || std::isalnum(static_cast<unsigned char>(c)); }
  static bool Contains(TVqEWSContainmentMode mode, const std::string& text, const std::string& piece) {
    if (mode == cmFullString) return text == piece;
    if (mode == cmPrefixed) return text.starts_with(piece);
    for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
      const bool starts = at == 0 || !IsLetter(text[at - 1]);
      const bool ends = at + piece.size() == text.size() || !IsLetter(text[at + piece.size()]);
      if (mode == cmSubstring || (starts && (mode == cmPrefixOnWords || ends))) return true;
    }
    return false;
  }

  std::vector<TMail> FMails;
  TVqRef<IVqEWSItems> FItems;
  int FTelling = 0;
};

TEST_F(RestrictionSearch, ComparisonsOfNumbersDatesTruthsAndTexts) {
  Fill(1, 60);
  for (const auto op : kOperators) {
    const std::string name = VqEnumToText(op).utf8();
    Same("minutes " + name, Compare(FLD_ITEM_REMINDERMINUTESBEFORESTART, op, std::int32_t{4}),
         [&](const TMail& mail) { return Holds(op, mail.Minutes, 4); });
    Same("day " + name, Compare(FLD_ITEM_REMINDERDUEBY, op, VqXMLToDateTime("2026-03-03T00:00:00Z")),
         [&](const TMail& mail) { return Holds(op, mail.Day, 3); });
    Same("subject " + name, Compare(FLD_ITEM_SUBJECT, op, string("invoice")),
         [&](const TMail& mail) { return Holds(op, Folded(mail.Subject, true, false), std::string("invoice")); });
  }
  for (const auto op : {opIsEqualTo, opIsNotEqualTo}) {
    Same("read", Compare(FLD_MESSAGE_ISREAD, op, true), [&](const TMail& mail) { return Holds(op, mail.Read, true); });
    Same("importance", Compare(FLD_ITEM_IMPORTANCE, op, string("High")),
         [&](const TMail& mail) { return Holds(op, mail.Importance, std::string("High")); });
    // What is absent equals nothing.
    Same("classified", Compare(EFLD_COMMON_CLASSIFIED, op, true), [&](const TMail& mail) {
      return mail.HasClassified ? Holds(op, mail.Classified, true) : op == opIsNotEqualTo;
    });
  }
  EXPECT_GT(FTelling, 15);
}

TEST_F(RestrictionSearch, FieldAgainstField) {
  Fill(3, 40);
  for (const auto op : kOperators) {
    const auto compare = [&](const TVqEWSFieldDef& first, const TVqEWSFieldDef& second) {
      auto fields = Make<IVqEWSRestrictionCompareFields>(rtCompareFields);
      fields->SetFieldDef1(first);
      fields->SetFieldDef2(second);
      fields->SetCompareOperator(op);
      return fields;
    };
    const std::string name = VqEnumToText(op).utf8();
    Same("subject and in-reply-to " + name, compare(FLD_ITEM_SUBJECT, FLD_ITEM_INREPLYTO), [&](const TMail& mail) {
      if (mail.InReplyTo.empty()) return op == opIsNotEqualTo;
      return Holds(op, Folded(mail.Subject, true, false), Folded(mail.InReplyTo, true, false));
    });
    Same("minutes and bits " + name, compare(FLD_ITEM_REMINDERMINUTESBEFORESTART, MFLD_PRIORITY),
         [&](const TMail& mail) { return Holds(op, mail.Minutes, mail.Bits); });
  }
  EXPECT_EQ(FTelling, 12);
}

TEST_F(RestrictionSearch, ContainsInAllModesAndComparisons) {
  Fill(4, 60);
  for (const auto mode : {cmFullString, cmPrefixed, cmSubstring, cmPrefixOnWords, cmExactPhrase}) {
    for (const auto comparison :
         {ccExact, ccIgnoreCase, ccIgnoreNonSpacingCharacters, ccIgnoreCaseAndNonSpacingCharacters}) {
      for (const std::string piece : {"voice", "Invoice", "müller", "cafe", "port", "re", "Invoice report"}) {
        auto content = Make<IVqEWSRestrictionContent>(rtContent);
        content->SetFieldDef(FLD_ITEM_SUBJECT);
        content->SetContainmentMode(mode);
        content->SetContainmentComparison(comparison);
        content->SetValue(piece);
        const bool ignoreCase = comparison == ccIgnoreCase || comparison == ccIgnoreCaseAndNonSpacingCharacters;
        const bool ignoreMarks = comparison >= ccIgnoreNonSpacingCharacters;
        Same(piece + " " + VqEnumToText(mode).utf8() + " " + VqEnumToText(comparison).utf8(), content,
             [&](const TMail& mail) {
               return Contains(mode, Folded(mail.Subject, ignoreCase, ignoreMarks),
                               Folded(piece, ignoreCase, ignoreMarks));
             });
      }
    }
  }
  EXPECT_GT(FTelling, 60);
}

TEST_F(RestrictionSearch, ExistenceAndBits) {
  Fill(5, 40);
  for (const bool extended : {false, true}) {
    auto exists = Make<IVqEWSRestrictionExists>(rtExists);
    exists->SetFieldDef(extended ? EFLD_COMMON_CLASSIFIED : FLD_ITEM_INREPLYTO);
    Same("exists", exists, [&](const TMail& mail) { return extended ? mail.HasClassified : !mail.InReplyTo.empty(); });
  }
  for (const std::uintptr_t mask : {1u, 2u, 5u, 6u}) {
    auto bits = Make<IVqEWSRestrictionBitMask>(rtBitmask);
    bits->SetFieldDef(MFLD_PRIORITY);
    bits->SetBitMask(mask);
    Same("mask", bits, [&](const TMail& mail) { return (static_cast<unsigned>(mail.Bits) & mask) == 0; });
  }
  EXPECT_EQ(FTelling, 6);
}

TEST_F(RestrictionSearch, TreesOfChance) {
  Fill(6, 60);
  std::mt19937 random(7);
  using TFilter = std::function<bool(const TMail&)>;
  const std::function<std::pair<TVqRef<IVqEWSRestriction>, TFilter>(int)> make = [&](int depth) {
    std::pair<TVqRef<IVqEWSRestriction>, TFilter> node;
    switch (depth == 0 ? 3 + random() % 3 : random() % 6) {
      case 0:
      case 1: {
        const bool all = random() % 2;
        auto list = Make<IVqEWSRestrictionList>(all ? rtAnd : rtOr);
        std::vector<TFilter> filters;
        for (unsigned count = 2 + random() % 2; count > 0; --count) {
          auto child = make(depth - 1);
          list->AddRestriction(child.first);
          filters.push_back(child.second);
        }
        node = {list, [all, filters](const TMail& mail) {
                  const auto holds = [&](const TFilter& filter) { return filter(mail); };
                  return all ? std::all_of(filters.begin(), filters.end(), holds)
                             : std::any_of(filters.begin(), filters.end(), holds);
                }};
        break;
      }
      case 2: {
        auto no = Make<IVqEWSRestrictionNot>(rtNot);
        auto child = make(depth - 1);
        no->SetRestriction(child.first);
        node = {no, [filter = child.second](const TMail& mail) { return !filter(mail); }};
        break;
      }
      case 3: {
        const auto op = kOperators[random() % 6];
        const int minutes = static_cast<int>(random() % 8);
        node = {Compare(FLD_ITEM_REMINDERMINUTESBEFORESTART, op, std::int32_t{minutes}),
                [op, minutes](const TMail& mail) { return Holds(op, mail.Minutes, minutes); }};
        break;
      }
      case 4:
        node = {Compare(FLD_MESSAGE_ISREAD, opIsEqualTo, true), [](const TMail& mail) { return mail.Read; }};
        break;
      default: {
        auto exists = Make<IVqEWSRestrictionExists>(rtExists);
        exists->SetFieldDef(FLD_ITEM_INREPLYTO);
        node = {exists, [](const TMail& mail) { return !mail.InReplyTo.empty(); }};
      }
    }
    return node;
  };
  for (int i = 0; i < 60; ++i) {
    auto [restriction, filter] = make(3);
    Same("tree " + std::to_string(i), restriction, filter);
  }
  EXPECT_GT(FTelling, 30);
}

}  // namespace
}  // namespace velmore::testing
