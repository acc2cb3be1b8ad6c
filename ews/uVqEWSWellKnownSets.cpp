#include "ews/uVqEWSWellKnownSets_p.h"

#include "platform/common/uVqSysUtils.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

struct TWellKnownSet {
  const TGUID& Set;
  const char* Name;
};
const TWellKnownSet kWellKnownSets[] = {
    {PSETID_Appointment, "Appointment"},
    {PSETID_Task, "Task"},
    {PSETID_Address, "Address"},
    {PSETID_Common, "Common"},
    {PSETID_Log, "Log"},
    {PSETID_Note, "Note"},
    {PSETID_Sharing, "Sharing"},
    {PSETID_PostRss, "PostRSS"},
    {PSETID_Messaging, "Message"},
    {PSETID_Attachment, "Attachment"},
    {PSETID_CalendarAssistant, "CalendarAssistant"},
    {PSETID_UnifiedMessaging, "UnifiedMessaging"},
    {PSETID_Meeting, "Meeting"},
    {PSETID_AirSync, "AirSync"},
    {PSETID_PublicStrings, "PublicStrings"},
    {PSETID_InternetHeaders, "InternetHeaders"},
};

}  // namespace

string EwsWellKnownSetPath(const string& APath, const TGUID& ASet) {
  const string text = PropSetIDToString(ASet);
  for (const TWellKnownSet& known : kWellKnownSets) {
    if (known.Set != ASet) continue;
    return APath.Replace("PropertySetId=\"" + text, string("DistinguishedPropertySetId=\"") + known.Name);
  }
  return {};
}

}  // namespace velmore
