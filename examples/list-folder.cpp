// Lists a folder as a table, with a filter that the server evaluates.
//
//   list-folder --folder inbox --filter "subject~invoice" --filter "size>10000" --filter "read=false"

#include <iomanip>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

struct TColumn {
  const char* Name;
  const TVqEWSFieldDef& Field;
  int Width;
};
const TColumn kColumns[] = {
    {"received", FLD_ITEM_DATETIMERECEIVED, 22},
    {"subject", FLD_ITEM_SUBJECT, 48},
    {"size", FLD_ITEM_SIZE, 9},
    {"importance", FLD_ITEM_IMPORTANCE, 11},
    {"read", FLD_MESSAGE_ISREAD, 7},
    {"attachments", FLD_ITEM_HASATTACHMENTS, 12},
    {"to", FLD_ITEM_DISPLAYTO, 30},
};

const TVqEWSFieldDef& FieldOf(const std::string& name) {
  for (const TColumn& column : kColumns) {
    if (name == column.Name) return column.Field;
  }
  throw EVqException("There is no column \"" + string(name) + "\" to filter by.");
}

/// "subject~invoice" (contains), "size>10000", "received>=2026-01-01T00:00:00Z", "importance=High", "read!=true".
TVqRef<IVqEWSRestriction> ParseFilter(IVqEWSItems& items, const std::string& text) {
  const std::size_t at = text.find_first_of("~=!<>");
  if (at == std::string::npos) throw EVqException("\"" + string(text) + "\" is no filter: column, operator, value.");
  const TVqEWSFieldDef& field = FieldOf(text.substr(0, at));
  if (text[at] == '~') {
    auto content = Supports<IVqEWSRestrictionContent>(items.CreateRestriction(rtContent));
    content->SetFieldDef(field);
    content->SetContainmentMode(cmSubstring);
    content->SetContainmentComparison(ccIgnoreCase);
    content->SetTextValue(text.substr(at + 1));
    return content;
  }
  static constexpr std::pair<const char*, TVqEWSRestrictionOperator> kOperators[] = {
      {">=", opIsGreaterThanOrEqualTo}, {"<=", opIsLessThanOrEqualTo}, {"!=", opIsNotEqualTo},
      {">", opIsGreaterThan},           {"<", opIsLessThan},           {"=", opIsEqualTo}};
  for (const auto& [sign, op] : kOperators) {
    if (text.compare(at, std::string_view(sign).size(), sign) != 0) continue;
    auto compare = Supports<IVqEWSRestrictionCompare>(items.CreateRestriction(rtCompare));
    compare->SetFieldDef(field);
    compare->SetCompareOperator(op);
    compare->SetTextValue(text.substr(at + std::string_view(sign).size()));
    return compare;
  }
  throw EVqException("\"" + string(text) + "\" has no operator (~ = != < <= > >=).");
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "list-folder: lists a folder\n"
                             "  --folder NAME    distinguished name, inbox when left out\n"
                             "  --filter TEXT    e.g. \"subject~invoice\", \"size>10000\"; may be given several times");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);

  auto folder = session.OpenDefaultMsgStore()->GetFolder(server.Folder(), "");
  auto items = folder->GetItems();
  for (const TColumn& column : kColumns) items->GetFields().Add(column.Field);
  auto all = Supports<IVqEWSRestrictionAnd>(items->CreateRestriction(rtAnd));
  bool filtered = false;
  for (const std::string& text : server.OptionValues("filter")) {
    all->AddRestriction(ParseFilter(*items, text));
    filtered = true;
  }
  if (filtered) items->Filter(all);

  for (const TColumn& column : kColumns) std::cout << std::left << std::setw(column.Width) << column.Name;
  std::cout << '\n';
  for (items->Open(); !items->Eof(); items->Next()) {
    for (const TColumn& column : kColumns) {
      const auto width = static_cast<std::size_t>(column.Width);
      // Not every kind of item has every column: what a row lacks is empty.
      const string text = items->FieldByName(column.Field).GetAsString().Copy(0, width - 2);
      std::cout << text << std::string(width - text.Length(), ' ');
    }
    std::cout << '\n';
  }
  std::cout << items->Count() << " of " << folder->GetTotalCount() << " items in \"" << folder->GetDisplayName()
            << "\"\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
