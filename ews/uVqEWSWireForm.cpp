#include "ews/uVqEWSWireForm.h"

#include <algorithm>

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

/// A recipient that is a name alone has empty elements for what it lacks -> no elements.
void RemoveEmptyAddresses(const IVqDOMElement& method) {
  for (const IVqDOMElement& mailbox : method.CreateElementList(".//Mailbox", kSelectQuiet)) {
    for (const char* name : {"EmailAddress", "RoutingType"}) {
      const IVqDOMElement child = mailbox.SelectSingleElement(name, kSelectQuiet);
      if (child && child.GetTextAsUtf8().empty()) mailbox.RemoveChild(child);
    }
  }
}

/// Members of new attachments that servers before Exchange2010 do not know -> none.
void RemoveLateAttachmentMembers(IVqSOAPRequest& request, const IVqDOMElement& method) {
  if (method.GetLocalName() != "CreateAttachment") return;
  const string version =
      request.GetHeader().SelectSingleElement("RequestServerVersion", kSelectQuiet).GetAttribute("Version");
  if (!version.StartsWith(u"Exchange2007") && version != "Exchange2009") return;
  for (const IVqDOMElement& attachment : method.CreateElementList("Attachments/*", kSelectQuiet)) {
    for (const char* name : {"Size", "LastModifiedTime", "IsInline", "IsContactPhoto"}) {
      if (const IVqDOMElement member = attachment.SelectSingleElement(name, kSelectQuiet))
        attachment.RemoveChild(member);
    }
  }
}

/// Members that were appended -> their places in the sequence. What the record does not know stays behind them.
void SortMembers(const IVqDOMElement& element, const TVqXMLSchemaClass& recordClass) {
  struct TChild {
    std::int32_t Index;
    IVqDOMElement Element;
  };
  std::vector<TChild> children;
  for (const IVqDOMElement& child : element.GetChildElements()) {
    const std::int32_t index = recordClass.FindMember(child.GetQualifiedName().utf8());
    if (index >= 0 && recordClass.GetMember(index).Class) SortMembers(child, *recordClass.GetMember(index).Class);
    children.push_back({index < 0 ? recordClass.GetMemberCount() : index, child});
  }
  if (std::ranges::is_sorted(children, {}, &TChild::Index)) return;
  std::ranges::stable_sort(children, {}, &TChild::Index);
  for (const TChild& child : children) element.AddChild(child.Element);
}

void SortItems(const IVqDOMElement& method) {
  for (const char* path : {"Items/*", "ItemChanges/ItemChange/Updates/SetItemField/*", "Attachments/*", "Folders/*"}) {
    for (const IVqDOMElement& element : method.CreateElementList(path, kSelectQuiet)) {
      const string name = element.GetLocalName();
      const TVqXMLSchemaClass* recordClass = EwsFindItemClass(name);
      if (!recordClass) recordClass = EwsFindAttachmentClass(name);
      if (!recordClass) recordClass = EwsFindFolderClass(name);
      if (recordClass) SortMembers(element, *recordClass);
    }
  }
}

}  // namespace

void EwsToStrictSchema(IVqSOAPRequest& ARequest) {
  const IVqDOMElement method = ARequest.GetMethod();
  MoveChangeKeys(method);
  NameIndexedFields(method);
  MoveRecipientIds(method);
  RemoveEmptyAddresses(method);
  RemoveLateAttachmentMembers(ARequest, method);
  SortItems(method);
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
