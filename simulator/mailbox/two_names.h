#pragma once

// Properties with two names: a MAPI property and a member of the schema, or a value that the server makes, that are one
// and the same. What is written through either is read through both.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

struct TwoNames {
  using Values = std::optional<std::vector<std::string>>;
  ExtendedKey key;
  const char* member;  // of the schema; "" when the value is made by the server alone
  Values (*read)(const TwoNames& row, const Mailbox& mailbox, const Item& item);
  void (*write)(const TwoNames& row, Item& item, const std::string& value);  // null: refused
  const char* part;  // what else a row needs: the key of a dictionary's entry, the texts of an enumeration
};

const std::vector<TwoNames>& AllTwoNames();
/// The row of a MAPI property that has another name on items of this kind; null for one that only the item itself
/// keeps.
const TwoNames* FindTwoNames(const ExtendedKey& key, const Item& item);
/// Writes through the MAPI name. Throws EwsError for what the server alone sets.
void WriteByMapiName(const TwoNames& row, Item& item, const ExtendedValue& value);
/// Removes by the MAPI name.
void DeleteByMapiName(const TwoNames& row, Item& item);

}  // namespace velmore::simulator
