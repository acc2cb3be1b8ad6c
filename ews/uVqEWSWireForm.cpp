#include "ews/uVqEWSWireForm.h"

namespace velmore {
namespace {

/// `t:ChangeKey` beside the id of a load request -> attribute `ChangeKey` of the id.
void MoveChangeKeys(const IVqDOMElement& method) {
  for (const char* path : {"ItemIds/ChangeKey", "FolderIds/ChangeKey"}) {
    for (const IVqDOMElement& key : method.CreateElementList(path, kSelectQuiet)) {
      const IVqDOMElement id = key.GetPreviousSiblingElement();
      const string value = key.GetAttribute("Id");
      if (!value.empty()) id.SetAttribute("ChangeKey", value);
      key.GetParentElement().RemoveChild(key);
    }
  }
}

/// `t:FieldURI` with a `FieldIndex` -> `t:IndexedFieldURI`.
void NameIndexedFields(const IVqDOMElement& method) {
  for (const IVqDOMElement& uri : method.CreateElementList(".//FieldURI", kSelectQuiet)) {
    if (uri.HasAttribute("FieldIndex")) uri.SetQualifiedName("t:IndexedFieldURI");
  }
}

/// Children `t:Id` and `t:ChangeKey` of a recipient's `t:ItemId` -> attributes.
void MoveRecipientIds(const IVqDOMElement& method) {
  for (const IVqDOMElement& id : method.CreateElementList(".//ItemId", kSelectQuiet)) {
    for (const char* name : {"Id", "ChangeKey"}) {
      const IVqDOMElement child = id.SelectSingleElement(name, kSelectQuiet);
      if (!child) continue;
      id.SetAttribute(name, child.GetText());
      id.RemoveChild(child);
    }
  }
}

}  // namespace

void EwsToStrictSchema(IVqSOAPRequest& ARequest) {
  const IVqDOMElement method = ARequest.GetMethod();
  MoveChangeKeys(method);
  NameIndexedFields(method);
  MoveRecipientIds(method);
}

bool EwsSendsUpdate(const TVqEWSBaseSession& ASession, const IVqDOMElement& AUpdates) {
  return !ASession.GetStrictSchema() || AUpdates.HasChildElements();
}

string EwsRestrictionValue(const TVqEWSObject& ARestriction, const string& AValue) {
  const TVqEWSBaseSession* session = ARestriction.GetSession();
  if (!session || !session->GetStrictSchema()) return AValue;
  return AValue.Replace("&", "&amp;").Replace("<", "&lt;").Replace(">", "&gt;").Replace("\"", "&quot;");
}

}  // namespace velmore
