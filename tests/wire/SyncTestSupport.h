#pragma once

// A mailbox whose changes are followed.

#include <map>

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {

class SyncTest : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  void Delete(const TItemId& id, const std::string& folder = "inbox") {
    Store().GetFolder(VqTextToEnum<TDistinguishedFolderIdName>(folder), "")->DeleteItem(id, dtHardDelete);
  }
  void Rename(const TItemId& id, const std::string& subject) {
    const auto item = Store().GetItem(id);
    item->SetSubject(subject);
    item->SaveChanges(soAlwaysOverwrite);
  }
  void Read(const TItemId& id, bool isRead) {
    const auto mail = Supports<IVqEWSEMail>(Store().GetItem(id));
    mail->SetIsRead(isRead);
    mail->SaveChanges(soAlwaysOverwrite);
  }

  /// "+ Hello, ~ Hello again, -, read": what changes say, to the end.
  static std::string Told(const TVqRef<IVqEWSItemChanges>& changes) {
    std::string told;
    for (const auto change : changes) {
      if (!told.empty()) told += ", ";
      switch (change.Kind()) {
        case TVqEWSChangeKind::created:
          told += "+ " + change[FLD_ITEM_SUBJECT].GetAsString().utf8();
          break;
        case TVqEWSChangeKind::updated:
          told += "~ " + change[FLD_ITEM_SUBJECT].GetAsString().utf8();
          break;
        case TVqEWSChangeKind::deleted:
          told += "-";
          break;
        case TVqEWSChangeKind::readChanged:
          told += change.IsRead() ? "read" : "unread";
          break;
      }
    }
    return told;
  }
  static std::string Told(const TVqRef<IVqEWSFolderChanges>& changes) {
    std::string told;
    for (const auto change : changes) {
      if (!told.empty()) told += ", ";
      told += change.Kind() == TVqEWSChangeKind::created   ? "+ "
              : change.Kind() == TVqEWSChangeKind::updated ? "~ "
                                                           : "-";
      told += change.DisplayName().utf8();
    }
    return told;
  }

  /// What a program keeps of a folder: subjects by id, kept up to date by changes alone.
  using TMirror = std::map<string, std::string>;
  static void Follow(TMirror& mirror, const TVqEWSItemChange& change) {
    if (change.Kind() == TVqEWSChangeKind::deleted)
      mirror.erase(change.Id().Id);
    else if (change.Kind() != TVqEWSChangeKind::readChanged)
      mirror[change.Id().Id] = change[FLD_ITEM_SUBJECT].GetAsString().utf8();
  }
  /// The same by looking.
  TMirror Contents(IVqEWSFolder& folder) {
    TMirror there;
    for (const auto row : VqItemsOf(folder, FLD_ITEM_ITEMID, FLD_ITEM_SUBJECT))
      there[row.Id().Id] = row[FLD_ITEM_SUBJECT].GetAsString().utf8();
    return there;
  }
};

}  // namespace velmore::testing
