#include "ews/schema/uVqEWSFieldURI.h"

#include <string>

#include "ews/schema/uVqEWSPropsText_p.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

using props::Checked;
using props::RaiseNoIdentity;
using props::TagText;

// Calls AWrite(name, value) for each attribute of `t:ExtendedFieldURI`, in the order of the wire.
void ForEachAttribute(const TVqEWSPropDef& ADef, const auto& AWrite) {
  if (ADef.PropertyTag == 0) {
    if (!ADef.DistinguishedPropertySetId.empty())
      AWrite("DistinguishedPropertySetId", ADef.DistinguishedPropertySetId.view());
    else if (ADef.PropertySetId)
      AWrite("PropertySetId", PropSetIDToString(*ADef.PropertySetId).utf8());
    else
      RaiseNoIdentity(ADef);
    if (ADef.PropKind == pkName)
      AWrite("PropertyName", ADef.Name.view());
    else
      AWrite("PropertyId", std::to_string(ADef.Id));
  } else {
    AWrite("PropertyTag", TagText(ADef.PropertyTag));
  }
  AWrite("PropertyType", PropTypeToString(ADef.PropType).utf8());
}

// What a request that wants an extended property's URI gets for a member of the schema.
std::string FieldURIOfMember(const TVqEWSPropDef& ADef) {
  PVqEWSFieldDef field = nullptr;
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    if (row.PropDef->PropDefName == ADef.PropDefName) field = &row;
    return !field;
  });
  return (field ? "" : "item:") + std::string(field ? field->UnindexedFieldURI.view() : ADef.NodeName.view());
}

std::string EscapeAttribute(std::string_view AText) {
  std::string text;
  for (const char c : AText) {
    switch (c) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '"':
        text += "&quot;";
        break;
      default:
        text += c;
    }
  }
  return text;
}

void AddAttribute(TVqStringStream& AStream, std::string_view AName, std::string_view AValue) {
  AStream.Add(std::string(AName) + "=\"" + EscapeAttribute(AValue) + "\" ");
}

// The text form keeps the element name of an unindexed field, unlike the one in update requests. Meant so: filters have
// always been written to this letter, and for servers that want the schema's name the wire form gives it.
void WriteIndexedFieldURIText(const TVqEWSFieldDef& AField, TVqStringStream& AStream) {
  AStream.Add("<t:FieldURI ");
  AddAttribute(AStream, "FieldURI", AField.UnindexedFieldURI);
  AddAttribute(AStream, "FieldIndex", AField.FieldIndex);
  AStream.Add("/>");
}

}  // namespace

void WriteFieldURI(PVqEWSFieldDef AFieldDef, TVqStringStream& AStream) {
  if (!AFieldDef) throw EVqException("There is no field definition to write!");
  switch (AFieldDef->FieldType) {
    case fdtField:
      AStream.Add("<t:FieldURI ");
      AddAttribute(AStream, "FieldURI", AFieldDef->UnindexedFieldURI);
      AStream.Add("/>");
      break;
    case fdtIndexedField:
      WriteIndexedFieldURIText(*AFieldDef, AStream);
      break;
    case fdtExtendedField:
      WriteExtendedFieldURI(AFieldDef->PropDef, AStream);
      break;
  }
}

void WriteExtendedFieldURI(PVqEWSPropDef APropDef, TVqStringStream& AStream) {
  const TVqEWSPropDef& def = Checked(APropDef);
  TVqStringStream element;  // a definition that cannot be written leaves the caller's stream alone
  if (def.Extended) {
    element.Add("<t:ExtendedFieldURI ");
    ForEachAttribute(def, [&](std::string_view name, std::string_view value) { AddAttribute(element, name, value); });
  } else {
    element.Add("<t:FieldURI ");
    AddAttribute(element, "FieldURI", FieldURIOfMember(def));
  }
  AStream.Add(element.GetAString() + "/>");
}

IVqDOMElement WriteExtendedFieldURI(PVqEWSPropDef APropDef, const IVqDOMElement& AParent) {
  const TVqEWSPropDef& def = Checked(APropDef);
  if (!def.Extended) {
    const IVqDOMElement element = AParent.AddElement("t:FieldURI");
    element.SetAttribute("FieldURI", FieldURIOfMember(def));
    return element;
  }
  if (def.PropertyTag == 0 && def.DistinguishedPropertySetId.empty() && !def.PropertySetId) RaiseNoIdentity(def);
  const IVqDOMElement element = AParent.AddElement("t:ExtendedFieldURI");
  ForEachAttribute(def, [&](std::string_view name, std::string_view value) { element.SetAttribute(name, value); });
  return element;
}

}  // namespace velmore
