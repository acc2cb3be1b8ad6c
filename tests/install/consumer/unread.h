#pragma once

#include <ews/schema/uVqEWSPropsFLD.h>
#include <velmore/ews.h>

#include <string>
#include <vector>

// The job: what it does with a mailbox, for whatever server the session is logged on to.
inline std::vector<std::string> UnreadSubjects(velmore::TVqEWSCustomSession& session) {
  auto items = session.OpenDefaultMsgStore()->GetFolder(velmore::dfininbox, "")->GetItems();
  items->GetFields().Add(velmore::FLD_ITEM_SUBJECT);
  items->GetFields().Add(velmore::FLD_MESSAGE_ISREAD);
  std::vector<std::string> subjects;
  for (items->Open(); !items->Eof(); items->Next())
    if (!items->FieldByName(velmore::FLD_MESSAGE_ISREAD).GetAsBoolean())
      subjects.push_back(items->FieldByName(velmore::FLD_ITEM_SUBJECT).GetAsString().utf8());
  return subjects;
}
