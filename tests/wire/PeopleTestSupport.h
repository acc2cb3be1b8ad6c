#pragma once

// What the tests of contacts, distribution lists and tasks share.

#include "ews/items/uVqEWSContact.h"
#include "ews/items/uVqEWSTask.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {

class PeopleTest : public SaveTest {
 protected:
  using SaveTest::SaveTest;

  TVqRef<IVqEWSContact> NewContact() { return Supports<IVqEWSContact>(Folder(dfincontacts)->CreateItem(tContact)); }
  TVqRef<IVqEWSDistributionList> NewList() { return Folder(dfincontacts)->CreateDistributionList(); }
  TVqRef<IVqEWSTask> NewTask() { return Supports<IVqEWSTask>(Folder(dfintasks)->CreateItem(tTask)); }

  /// Items of the server's, from XML ("<t:GivenName>...").
  TVqRef<IVqEWSContact> Contact(const std::string& members) {
    return Supports<IVqEWSContact>(Store().GetItem(AddItem("contacts", "<t:Contact>" + members + "</t:Contact>")));
  }
  TVqRef<IVqEWSDistributionList> List(const std::string& members) {
    return Supports<IVqEWSDistributionList>(
        Store().GetItem(AddItem("contacts", "<t:DistributionList>" + members + "</t:DistributionList>")));
  }
  TVqRef<IVqEWSTask> Task(const std::string& members) {
    return Supports<IVqEWSTask>(Store().GetItem(AddItem("tasks", "<t:Task>" + members + "</t:Task>")));
  }

  /// The same item once more, as the server has it.
  template <typename T>
  TVqRef<T> Fresh(T& item) {
    return Supports<T>(Store().GetItem(item.GetID()));
  }
};

/// `t:IndexedFieldURI` of an entry, as an update has it.
inline std::string EntryURI(const std::string& uri, const std::string& key) {
  return "<t:IndexedFieldURI FieldURI=\"" + uri + "\" FieldIndex=\"" + key + "\"/>";
}
inline std::string SetEntry(const std::string& uri, const std::string& key, const std::string& dictionary,
                            const std::string& entry) {
  return "<t:SetItemField>" + EntryURI(uri, key) + "<t:Contact><t:" + dictionary + ">" + entry + "</t:" + dictionary +
         "></t:Contact></t:SetItemField>";
}
inline std::string DeleteEntry(const std::string& uri, const std::string& key) {
  return "<t:DeleteItemField>" + EntryURI(uri, key) + "</t:DeleteItemField>";
}

}  // namespace velmore::testing
