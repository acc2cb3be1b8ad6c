#include "ews/schema/internal/uVqEWSWellKnownSets.h"

#include <cstdio>

#include <optional>

#include "platform/common/uVqSysUtils.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
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

using detail::TVqRawElement;

bool IsNumber(const std::optional<std::string_view>& text, std::int32_t number) {
  try {
    return text && VqXMLToInt(*text) == number;
  } catch (const EConvertError&) {
    return false;  // a server's text that is no number is no number of ours
  }
}

bool IsSet(TVqRawElement uri, const TVqEWSPropDef& definition) {
  const std::string_view wantedName = definition.DistinguishedPropertySetId;
  const std::string_view name = uri.Attribute("DistinguishedPropertySetId").value_or(std::string_view());
  if (!wantedName.empty() && !name.empty()) return SameText(string(wantedName), string(name));
  const TGUID* wanted = definition.PropertySetId ? definition.PropertySetId : EwsFindWellKnownSet(wantedName);
  TGUID set;
  if (const TGUID* known = EwsFindWellKnownSet(name)) {
    set = *known;
  } else if (const auto text = uri.Attribute("PropertySetId");
             !text || !VqTryParseGuid(text->starts_with('{') ? string(*text) : "{" + string(*text) + "}", set)) {
    return false;
  }
  return wanted && *wanted == set;
}

bool IsProperty(TVqRawElement uri, const TVqEWSPropDef& definition) {
  if (definition.PropertyTag > 0) return IsNumber(uri.Attribute("PropertyTag"), definition.PropertyTag);
  const bool named = definition.PropKind == pkName;
  return (named ? uri.Attribute("PropertyName") == definition.Name.view()
                : IsNumber(uri.Attribute("PropertyId"), definition.Id)) &&
         IsSet(uri, definition);
}

TVqRawElement ChildOf(TVqRawElement parent, std::string_view localName) {
  TVqRawElement child = parent.FirstChild();
  while (child && child.LocalName() != localName) child = child.Next();
  return child;
}

}  // namespace

const TGUID* EwsFindWellKnownSet(std::string_view AName) {
  for (const TWellKnownSet& known : kWellKnownSets) {
    if (SameText(string(AName), known.Name)) return &known.Set;
  }
  return nullptr;
}

IVqDOMElement EwsFindExtendedProperty(const IVqDOMElement& AItem, const TVqEWSPropDef& ADefinition) {
  if (!AItem) return {};
  for (TVqRawElement child = TVqRawElement(AItem).FirstChild(); child; child = child.Next()) {
    if (child.LocalName() != "ExtendedProperty") continue;
    const TVqRawElement uri = ChildOf(child, "ExtendedFieldURI");
    if (uri && IsProperty(uri, ADefinition)) return detail::MakeElement(AItem, child);
  }
  return {};
}

IVqDOMElement EwsValueOfExtendedProperty(const IVqDOMElement& AProperty) {
  if (!AProperty) return {};
  TVqRawElement value = ChildOf(TVqRawElement(AProperty), "Value");
  if (!value) value = ChildOf(TVqRawElement(AProperty), "Values");
  return value ? detail::MakeElement(AProperty, value) : IVqDOMElement();
}

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
