#include "ews/model/uVqEWSWireForm.h"

#include <algorithm>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/internal/uVqEWSConstants.h"
#include "ews/schema/uVqEWSProps.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr std::int32_t kSensitivityTag = 0x36;  // PR_SENSITIVITY of MAPI

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

/// The schema's names of a member of items, asked for as one of every item ("item:DueDate"), as it is by default where
/// no field is known for it: those of the kinds of items that have it. A server leaves out of its answer what an item's
/// kind does not have.
std::vector<string> FieldURIsOf(const string& name) {
  static constexpr const char* kKinds[] = {"message",    "calendar",   "meeting",         "meetingRequest",
                                           "contacts",   "task",       "postitem",        "network",
                                           "rolemember", "abchperson", "distributionlist"};
  std::vector<string> uris;
  for (const char* kind : kKinds) {
    const string uri = string(kind) + ":" + name;
    if (TUnindexedFieldURI known; TryStringToFieldURI(uri, known)) uris.push_back(uri);
  }
  return uris;
}

/// `t:FieldURI` "item:..." for a member that not every item has -> what the schema calls it; in a list of members
/// nothing when it has no name for it.
void NameMembers(const IVqDOMElement& method) {
  for (const IVqDOMElement& element : method.CreateElementList(".//FieldURI", kSelectQuiet)) {
    const string uri = element.GetAttribute("FieldURI");
    if (TUnindexedFieldURI known; !uri.StartsWith(u"item:") || TryStringToFieldURI(uri, known)) continue;
    const string name = uri.Copy(5);
    const std::vector<string> uris = FieldURIsOf(name);
    const IVqDOMElement parent = element.GetParentElement();
    if (parent.GetLocalName() != "AdditionalProperties") {
      if (uris.empty()) throw EVqException(Format("The schema has no field for \"%s\".", {name}));
      element.SetAttribute("FieldURI", uris.front());
      continue;
    }
    for (const string& each : uris)
      parent.InsertElement("t:FieldURI", TVqDOMPosition::dpBefore, element).SetAttribute("FieldURI", each);
    parent.RemoveChild(element);
    if (!parent.HasChildElements()) parent.GetParentElement().RemoveChild(parent);
  }
}

/// The title of a contact's name, which is a field of personas and has no member in the schema -> nothing when it is
/// asked for. What is to be written has no valid form.
void DropTitles(const IVqDOMElement& method) {
  const auto refuse = [] {
    throw EVqException(
        "The schema has no field for \"DisplayNamePrefix\": SetTitle of the complete name has the same effect.");
  };
  for (const IVqDOMElement& uri : method.CreateElementList(".//FieldURI", kSelectQuiet)) {
    if (uri.GetAttribute("FieldURI") != "persona:DisplayNamePrefix") continue;
    const IVqDOMElement parent = uri.GetParentElement();
    if (parent.GetLocalName() != "AdditionalProperties") refuse();
    parent.RemoveChild(uri);
    if (!parent.HasChildElements()) parent.GetParentElement().RemoveChild(parent);
  }
  for (const IVqDOMElement& title : method.CreateElementList("Items/Contact/DisplayNamePrefix", kSelectQuiet)) {
    if (!title.GetTextAsUtf8().empty()) refuse();
    title.GetParentElement().RemoveChild(title);
  }
}

/// An address as one value -> each of its parts. A filter takes a part only.
void SplitAddresses(const IVqDOMElement& method) {
  static constexpr const char* kWhole = "contacts:PhysicalAddress";
  static constexpr const char* kParts[] = {"Street", "City", "State", "CountryOrRegion", "PostalCode"};
  for (const IVqDOMElement& uri : method.CreateElementList(".//IndexedFieldURI", kSelectQuiet)) {
    if (uri.GetAttribute("FieldURI") != kWhole) continue;
    const string index = uri.GetAttribute("FieldIndex");
    const IVqDOMElement change = uri.GetParentElement();
    const string kind = change.GetLocalName();
    const auto name = [&](const IVqDOMElement& element, const char* part) {
      element.SetAttribute("FieldURI", string(kWhole) + ":" + part);
      element.SetAttribute("FieldIndex", index);
    };
    if (kind == "AdditionalProperties") {
      for (const char* part : kParts)
        name(change.InsertElement("t:IndexedFieldURI", TVqDOMPosition::dpBefore, uri), part);
      change.RemoveChild(uri);
      continue;
    }
    const bool set = kind == "SetItemField";
    if (!set && kind != "DeleteItemField")
      throw EVqException("A filter takes a part of an address, such as \"contacts:PhysicalAddress:City\".");
    const IVqDOMElement entry = change.SelectSingleElement("*/PhysicalAddresses/Entry", kSelectQuiet);
    if (set && !entry.HasChildElements()) throw EVqException("An address has no text of its own: its parts have.");
    const IVqDOMElement updates = change.GetParentElement();
    for (const char* part : kParts) {  // what the address does not have any more goes
      const IVqDOMElement value = set ? entry.SelectSingleElement(part, kSelectQuiet) : IVqDOMElement();
      const IVqDOMElement field =
          updates.InsertElement(value ? "t:SetItemField" : "t:DeleteItemField", TVqDOMPosition::dpBefore, change);
      name(field.AddElement("t:IndexedFieldURI"), part);
      if (!value) continue;
      const IVqDOMElement target = field.AddElement("t:Contact/t:PhysicalAddresses/t:Entry");
      target.SetAttribute("Key", index);
      target.AddElement(string("t:") + part).SetText(value.GetText());
    }
    updates.RemoveChild(change);
  }
}

/// `t:Value` of an extended property with several values -> `t:Values`, with a `t:Value` for each.
void NameArrays(const IVqDOMElement& method) {
  for (const IVqDOMElement& property : method.CreateElementList(".//ExtendedProperty", kSelectQuiet)) {
    const IVqDOMElement uri = property.SelectSingleElement("ExtendedFieldURI", kSelectQuiet);
    IVqDOMElement value = property.SelectSingleElement("Value", kSelectQuiet);
    if (!value) value = property.SelectSingleElement("Values", kSelectQuiet);  // with a text that was set as one
    if (!value || !uri.GetAttribute("PropertyType").EndsWith(u"Array")) continue;
    if (!value.HasChildElements()) {
      const string text = value.GetText();
      value.RemoveAllChildren();
      value.AddElement("t:Value").SetText(text);
    }
    value.SetQualifiedName("t:Values");
  }
}

/// `t:And` and `t:Or` without conditions -> what every item fulfils, or none.
void FillConnectives(const IVqDOMElement& method) {
  const auto everyItem = [](const IVqDOMElement& exists) {
    exists.AddElement("t:FieldURI").SetAttribute("FieldURI", "item:ItemClass");
  };
  const IVqDOMElement restriction = method.SelectSingleElement("Restriction", kSelectQuiet);
  for (const IVqDOMElement& element : restriction.CreateElementList(".//And", kSelectQuiet)) {
    if (element.HasChildElements()) continue;
    element.SetQualifiedName("t:Exists");
    everyItem(element);
  }
  for (const IVqDOMElement& element : restriction.CreateElementList(".//Or", kSelectQuiet)) {
    if (element.HasChildElements()) continue;
    element.SetQualifiedName("t:Not");
    everyItem(element.AddElement("t:Exists"));
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
  for (const char* path : {".//Mailbox", "RoomList"}) {
    for (const IVqDOMElement& mailbox : method.CreateElementList(path, kSelectQuiet)) {
      for (const char* name : {"EmailAddress", "RoutingType"}) {
        const IVqDOMElement child = mailbox.SelectSingleElement(name, kSelectQuiet);
        if (child && child.GetTextAsUtf8().empty()) mailbox.RemoveChild(child);
      }
    }
  }
}

bool IsEmptyElement(const IVqDOMElement& element) {
  return !element.HasChildElements() && element.AttributeCount() == 0 && element.GetText().empty();
}

/// Members of new items without anything inside, which getters made on their way -> none. A save takes them away
/// itself, other requests do not. A body whose type was never given -> one of the type that its text tells.
void TidyNewItems(const IVqDOMElement& method) {
  for (const char* path : {"Items/*", "Attachments/ItemAttachment/*"}) {
    for (const IVqDOMElement& item : method.CreateElementList(path, kSelectQuiet)) {
      if (!EwsFindItemClass(item.GetLocalName())) continue;  // of an attachment the item alone
      const TVqDOMElementList members = item.GetChildElements();
      for (std::int32_t i = members.Count() - 1; i >= 0; --i) {
        if (IsEmptyElement(members.GetItem(i))) item.RemoveChild(members.GetItem(i));
      }
      for (const char* name : {"Body", "NewBodyContent"}) {
        const IVqDOMElement body = item.SelectSingleElement(name, kSelectQuiet);
        if (body && body.GetAttribute("BodyType").empty())
          body.SetAttribute("BodyType", body.GetText().Trim().StartsWith(u"<") ? "HTML" : "Text");
      }
    }
  }
}

/// A member set to nothing that has no such value (a number, a date, a choice, a language) -> deleted.
void DeleteEmptied(const IVqDOMElement& method) {
  for (const IVqDOMElement& field :
       method.CreateElementList("ItemChanges/ItemChange/Updates/SetItemField", kSelectQuiet)) {
    const IVqDOMElement item = field.GetFirstChildElement().GetNextSiblingElement();
    const IVqDOMElement member = item.GetFirstChildElement();
    const TVqXMLSchemaClass* recordClass = EwsFindItemClass(item.GetLocalName());
    if (!member || !IsEmptyElement(member) || !recordClass) continue;
    const std::int32_t index = recordClass->FindMember(member.GetQualifiedName().utf8());
    if (index < 0) continue;
    const TVqXMLSchemaMember& row = recordClass->GetMember(index);
    // A text may be empty, and so may a list that the schema does not want filled; a dictionary may not.
    bool takesNothing = row.Class ? !row.Class->GetName().starts_with("TEwsNonEmptyArray") &&
                                        !row.Class->GetName().ends_with("Dictionary")
                                  : row.Type.Kind == tkString && row.Name != "t:Culture";
    for (std::int32_t i = 0; row.Class && i < row.Class->GetMemberCount(); ++i) {
      const TVqXMLSchemaRule rule = row.Class->GetMember(i).Rule;
      if (rule == TVqXMLSchemaRule::Required || rule == TVqXMLSchemaRule::NonEmpty) takesNothing = false;
    }
    if (takesNothing) continue;
    field.SetQualifiedName("t:DeleteItemField");
    field.RemoveChild(item);
  }
}

/// An id without a mailbox, which the schema wants -> one that counts for nothing. What has no valid form at all is an
/// error of the caller.
void CheckValues(IVqSOAPRequest& request, const IVqDOMElement& method) {
  const IVqDOMElement impersonated =
      request.GetHeader().SelectSingleElement("ExchangeImpersonation/ConnectingSID/PrimarySmtpAddress", kSelectQuiet);
  if (impersonated && impersonated.GetText().empty())
    throw EVqException("There is nobody to act as: neither ConnectingSID nor AutodiscoverEMail is set.");
  const string name = method.GetLocalName();
  if (name == "ResolveNames" && method.SelectSingleElement("UnresolvedEntry", kSelectQuiet).GetText().empty())
    throw EVqException("There is no name to resolve.");
  if (name != "ConvertId") return;
  const TVqDOMElementList ids = method.CreateElementList("SourceIds/*", kSelectQuiet);
  if (ids.Count() == 0) throw EVqException("There is no id to convert.");
  for (const IVqDOMElement& id : ids) {
    if (id.GetAttribute("Mailbox").empty()) id.SetAttribute("Mailbox", kDummyAddress);
  }
}

/// The sensitivity of an answer to an invitation, an extended property -> the member. Answers take no other one, and no
/// name of their own.
void TidyMeetingResponses(const IVqDOMElement& method) {
  for (const char* path : {"Items/AcceptItem", "Items/TentativelyAcceptItem", "Items/DeclineItem"}) {
    const IVqDOMElement response = method.SelectSingleElement(path, kSelectQuiet);
    if (!response) continue;
    if (response.HasAttribute("ObjectName")) response.RemoveAttribute("ObjectName");
    for (const IVqDOMElement& property : response.CreateElementList("ExtendedProperty", kSelectQuiet)) {
      const IVqDOMElement uri = property.SelectSingleElement("ExtendedFieldURI", kSelectQuiet);
      const string value = property.SelectSingleElement("Value", kSelectQuiet).GetText();
      if (!uri.HasAttribute("PropertyTag") || VqXMLToInt(uri.GetAttribute("PropertyTag")) != kSensitivityTag)
        throw EVqException("The schema has no extended properties for the answer to an invitation.");
      response.RemoveChild(property);
      response.SelectSingleElement("t:Sensitivity", kSelectCreate)
          .SetText(VqEnumToText(static_cast<TSensitivityChoices>(VqXMLToInt(value))));
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

/// The machine's zone, with its bias in hours -> UTC without daylight saving, so that the window and the entries of the
/// answer are the times that they say.
void NameUtc(const IVqDOMElement& method) {
  const IVqDOMElement zone = method.GetLocalName() == "GetUserAvailabilityRequest"
                                 ? method.SelectSingleElement("TimeZone", kSelectQuiet)
                                 : nullptr;
  if (!zone) return;
  zone.RemoveAllChildren();
  zone.AddElement("t:Bias").SetAsInteger(0);
  for (const char* name : {"t:StandardTime", "t:DaylightTime"}) {
    const IVqDOMElement change = zone.AddElement(name);
    for (const auto& [member, value] : {std::pair("t:Bias", "0"),
                                        {"t:Time", "00:00:00"},
                                        {"t:DayOrder", "0"},
                                        {"t:Month", "0"},
                                        {"t:DayOfWeek", "Sunday"}})
      change.AddElement(member).SetText(value);
  }
}

/// "HR96X96" -> "HR96x96".
void LowerPhotoSizes(const IVqDOMElement& method) {
  const IVqDOMElement size =
      method.GetLocalName() == "GetUserPhoto" ? method.SelectSingleElement("SizeRequested", kSelectQuiet) : nullptr;
  if (size) size.SetText(size.GetText().Replace(u"X", u"x"));
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
  CheckValues(ARequest, method);
  MoveChangeKeys(method);
  NameIndexedFields(method);
  NameMembers(method);
  DropTitles(method);
  SplitAddresses(method);
  NameArrays(method);
  FillConnectives(method);
  MoveRecipientIds(method);
  RemoveEmptyAddresses(method);
  RemoveLateAttachmentMembers(ARequest, method);
  TidyMeetingResponses(method);
  TidyNewItems(method);
  DeleteEmptied(method);
  NameUtc(method);
  LowerPhotoSizes(method);
  SortItems(method);
}

std::optional<TItemId> EwsSendUpdate(const TVqEWSBaseSession& ASession, TVqEWSCall& ACall,
                                     const IVqDOMElement& AUpdates) {
  const auto leftOut = [&] { return !AUpdates.HasChildElements() && ASession.GetWireForm() == TVqEWSWireForm::schema; };
  if (leftOut()) return {};
  try {
    return ACall.SendForId("//ItemId");
  } catch (...) {
    if (leftOut()) return {};  // the refusal told which form the server wants
    throw;
  }
}

bool EwsEscapesValues(const TVqEWSObject& ARestriction) {
  const TVqEWSBaseSession* session = ARestriction.GetSession();
  return session && session->GetStrictSchema();
}

}  // namespace velmore
