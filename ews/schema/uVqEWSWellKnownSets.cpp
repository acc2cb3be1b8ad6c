#include "ews/schema/internal/uVqEWSWellKnownSets.h"

#include <cstdio>

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

string EwsAnswerPath(const TVqEWSPropDef& ADefinition) {
  string path = "ExtendedProperty/ExtendedFieldURI[";
  if (ADefinition.PropertyTag > 0) {
    char tag[8];
    std::snprintf(tag, sizeof tag, ADefinition.PropertyTag <= 0xFF ? "%02X" : "%04X", ADefinition.PropertyTag);
    path += string("(@PropertyTag=\"0x") + tag + "\")]";
  } else {
    const string distinguished = EWSShortNameToStr(ADefinition.DistinguishedPropertySetId);
    if (!distinguished.empty()) {
      path += "(@DistinguishedPropertySetId=\"" + distinguished + "\")";
    } else if (ADefinition.PropertySetId) {
      path += "(@PropertySetId=\"" + PropSetIDToString(*ADefinition.PropertySetId) + "\")";
    }
    if (ADefinition.PropKind == pkName) {
      path += " and (@PropertyName=\"" + EWSShortNameToStr(ADefinition.Name) + "\")";
    } else {
      path += " and (@PropertyId=\"" + VqIntToXML(ADefinition.Id) + "\")";
    }
  }
  return path + "]";
}

string EwsWellKnownSetPath(const string& APath, const TGUID& ASet) {
  const string text = PropSetIDToString(ASet);
  for (const TWellKnownSet& known : kWellKnownSets) {
    if (known.Set != ASet) continue;
    return APath.Replace("PropertySetId=\"" + text, string("DistinguishedPropertySetId=\"") + known.Name);
  }
  return {};
}

}  // namespace velmore
