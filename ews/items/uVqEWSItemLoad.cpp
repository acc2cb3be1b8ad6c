// How an item comes into being, is read again, fetches what its load left out, and gives its MIME content.

#include "ews/items/uVqEWSItem.h"

#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

constexpr std::string_view kDefinitionPrefix = "PROPDEF:";

bool IsDefinition(const string& entry) {
  return entry.StartsWith(kDefinitionPrefix);
}
std::string DefinitionName(const string& entry) {
  return entry.Copy(kDefinitionPrefix.size()).utf8();
}

/// The definition that asks the server: a member of the schema is asked for through the MAPI property that stands for
/// it.
PVqEWSPropDef AskingDefinition(const std::string& name) {
  const PVqEWSPropDef definition = GetPropDef(name, true);
  return definition->Extended ? definition : GetPropDef("M" + name, true);
}

void AddLoadIds(const TVqEWSCall& call, std::span<const TItemId> ids) {
  const IVqDOMElement list = call.Add("m:ItemIds");
  for (const TItemId& id : ids) call.AddLoadId(list, "t:ItemId", id);
}

}  // namespace

// ---- What is asked

void EwsAskForItems(const TVqEWSCall& ACall, std::span<const TItemId> AIds) {
  ACall.Add("m:ItemShape/t:BaseShape").SetText("AllProperties");
  AddLoadIds(ACall, AIds);
}

void EwsAskForMime(const TVqEWSCall& ACall, std::span<const TItemId> AIds) {
  ACall.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  ACall.Add("m:ItemShape/t:AdditionalProperties/t:FieldURI").SetAttribute("FieldURI", "item:MimeContent");
  AddLoadIds(ACall, AIds);
}

// ---- New and loaded items

void TVqEWSItemCore::Initialize(const TItemId& AItemId) {
  if (AItemId.Id.empty()) {
    PrepareCreateItem();
  } else {
    if (IsLean()) FLater = TLater::opened;
    ReloadItem(AItemId);
  }
}

void TVqEWSItemCore::PrepareCreateItem() {
  FIsNewItem = true;
  const TVqEWSCall call(*this, kCreateItem);
  FItem = call.Request();
  const string name = ElementName();
  call.Add("m:Items").AddElement("t:" + name);
  FPropDataElm =
      call.Request()->GetDocument().SelectSingleElement("/envelope/body/createitem/items/" + name, kSelectRequired);
  SetPropData(FPropDataElm);
  // Only a folder says where the item goes; otherwise it is the server's default folder.
  const auto folder = Supports<IVqEWSFolder>(GetCreatedBy());
  if (!folder) return;
  const TItemId id = folder->GetID();
  EwsWriteId(call.Method().InsertElement("m:SavedItemFolderId", TVqDOMPosition::dpFirst).AddElement("t:FolderId"), id);
}

string TVqEWSItemCore::ElementName() {
  return VqEnumToText(GetItemType());
}

TVqRef<IVqSOAPRequest> TVqEWSItemCore::NewItemRequest() const {
  const auto request = Supports<IVqSOAPRequest>(FItem);
  return request && request->GetBody().HasChildElement("CreateItem", kSelectQuiet) ? request : TVqRef<IVqSOAPRequest>();
}

void TVqEWSItemCore::SetPropData(const IVqDOMElement& AElement) {
  TVqEWSPropObjectCore::SetPropData(AElement);
  ForgetHandedOut();
  NewRecord().SetOnGetSOAPElement(
      [this](TVqXMLSchemaElement* record, const TVqXMLSchemaInfo& info) { OnGetSOAPElement(record, info); });
}

void TVqEWSItemCore::ForgetHandedOut() {
  if (FAttachments) {
    FAttachments->Discard();
    FFormerAttachments.push_back(std::move(FAttachments));
  }
  if (FCategories) FFormerCategories.push_back(std::move(FCategories));
  FCreatedAttachments.clear();
  FCreationIsUnsure = false;
}

void TVqEWSItemCore::ReloadItem(const TItemId& AItemId) {
  FIsNewItem = false;
  if (FLater != TLater::no) return LoadLater(AItemId);
  TVqEWSCall call(*this, "GetItem");
  EwsAskForItems(call, {&AItemId, 1});
  const IVqDOMElement item = call.SendForItem();
  TakeLoaded({item, call.Response()});
}

void TVqEWSItemCore::TakeLoaded(const TVqEWSLoadedItem& ALoaded) {
  FIsNewItem = false;
  FPropDataElm = ALoaded.Element;
  FItem = ALoaded.Envelope;
  SetPropData(FPropDataElm);
  AfterLoad();
}

// ---- Lazy loading

void TVqEWSItemCore::OnGetSOAPElement(TVqXMLSchemaElement* ARecord, const TVqXMLSchemaInfo& AInfo) {
  if (AInfo.GetNodeType() != TVqDOMNodeType::ntElement) return;
  if (ARecord && ARecord->FindNode(AInfo.GetName())) return;
  const string& name = AInfo.GetName();
  GetAdditionalProperties({name.StartsWith(u"t:") ? name.Copy(2) : name});
}

void TVqEWSItemCore::GetAdditionalProperties(const std::vector<string>& AProps) {
  const TItemId id = GetID();
  if (id.Id.empty()) return;  // the server knows nothing of a new item
  TVqEWSCall call(*this, "GetItem");
  call.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  const IVqDOMElement properties = call.Add("m:ItemShape/t:AdditionalProperties");
  for (const string& entry : AProps) AddPropertyURI(properties, entry);
  call.AddLoadId(call.Add("m:ItemIds"), "t:ItemId", id);
  const IVqDOMElement item = call.SendForItem();
  const IVqDOMElement answer = GetItemType() == tItem ? item : call.Find("Items/" + LoadedElementName());
  for (const string& entry : AProps) {
    if (IsDefinition(entry)) {
      MergeDefinition(answer, DefinitionName(entry));
    } else {
      MergeMember(answer, entry);
    }
  }
}

void TVqEWSItemCore::AddPropertyURI(const IVqDOMElement& AProperties, const string& AEntry) {
  if (IsDefinition(AEntry)) {
    WriteExtendedFieldURI(AskingDefinition(DefinitionName(AEntry)), AProperties);
    return;
  }
  const std::size_t colon = AEntry.Pos(u":");
  const string name = colon == string::npos ? AEntry : AEntry.Copy(colon + 1);
  const TVqEWSMemberInfo* member = MemberTable().Find(name.utf8());
  if (!member || !member->Field) {
    AProperties.AddElement("t:FieldURI").SetAttribute("FieldURI", "item:" + name);
    return;
  }
  switch (member->Field.GetURIType()) {
    case fdtExtendedField:
      WriteExtendedFieldURI(member->Field.GetPropDef(), AProperties);
      return;
    case fdtField: {
      const PVqEWSFieldDef field = GetFieldDef(member->Field.GetUnindexedFieldURI());
      AProperties.AddElement("t:FieldURI").SetAttribute("FieldURI", EWSShortNameToStr(field->FieldURI()));
      return;
    }
    // Under the plain element's name and with the definition's own index, on purpose: the library's own form, which the
    // wire form brings into the schema's.
    case fdtIndexedField: {
      const PVqEWSFieldDef field = GetFieldDef(member->Field.GetDictionaryURI());
      const IVqDOMElement uri = AProperties.AddElement("t:FieldURI");
      uri.SetAttribute("FieldURI", EWSShortNameToStr(field->FieldURI()));
      uri.SetAttribute("FieldIndex", EWSShortNameToStr(field->FieldIndex));
      return;
    }
  }
}

void TVqEWSItemCore::MergeMember(const IVqDOMElement& AAnswer, const string& AEntry) {
  // The entry is used as the caller wrote it: one with a prefix such as "item:" was asked for and is not found here.
  const bool prefixed = AEntry.Contains(u":");
  const IVqDOMElement found =
      AAnswer.SelectSingleElement(AEntry, prefixed ? TVqDOMSelectOptions() : TVqDOMSelectOptions(kSelectQuiet));
  if (!found) return;
  const bool text = !found.HasChildElements();
  for (TVqXMLSchemaElement* record : RecordsToMerge(OldNode(AEntry), NewNode(AEntry))) {
    IVqDOMElement target(record->GetNode(AEntry));
    // Members that the record's schema does not know are kept beside the others.
    if (!target) target = record->AsElement().SelectSingleElement("t:" + found.GetLocalName(), kSelectCreate);
    for (const IVqDOMAttribute& attribute : found.GetAttributes())
      target.SetAttribute(attribute.GetName(), attribute.GetValue());
    if (text) {
      detail::AssignTextOf(target, found);
    } else {
      target.SetInnerXML(found.GetInnerXML());
    }
  }
}

IVqDOMElement TVqEWSItemCore::OldNode(const string& AName) const {
  return IVqDOMElement(OldRecord().FindNode(AName));
}
IVqDOMElement TVqEWSItemCore::NewNode(const string& AName) const {
  return IVqDOMElement(NewRecord().FindNode(AName));
}

/// An answer goes into both records, so that nothing counts as changed; of what the application has changed the copy as
/// loaded alone takes it.
std::vector<TVqXMLSchemaElement*> TVqEWSItemCore::RecordsToMerge(const IVqDOMElement& AOld,
                                                                 const IVqDOMElement& ANew) const {
  std::vector<TVqXMLSchemaElement*> records = {&OldRecord()};
  if (!ANew || EwsSameValue(AOld, ANew)) records.push_back(&NewRecord());
  return records;
}

void TVqEWSItemCore::MergeDefinition(const IVqDOMElement& AAnswer, const string& AName) {
  const PVqEWSPropDef definition = GetPropDef(AName.utf8(), true);
  const PVqEWSPropDef asked = AskingDefinition(AName.utf8());
  IVqDOMElement property = AAnswer.SelectSingleElement(EwsAnswerPath(*asked), kSelectQuiet).GetParentElement();
  if (!property) property = EwsFindExtendedProperty(AAnswer, *asked);  // spelled in another way
  if (!property && definition->Extended) return;
  const IVqDOMElement found = EwsValueOfExtendedProperty(property);
  if (property && !found) property.SelectSingleElement("Value", kSelectRequired);  // raises, naming it

  if (property) {
    const auto valueIn = [&](const TVqXMLSchemaElement& record) {
      return EwsValueOfExtendedProperty(EwsFindExtendedProperty(record.AsElement(), *asked));
    };
    for (TVqXMLSchemaElement* record : RecordsToMerge(valueIn(OldRecord()), valueIn(NewRecord()))) {
      IVqDOMElement target = EwsFindExtendedProperty(record->AsElement(), *asked);
      if (target) {
        if (const IVqDOMElement former = EwsValueOfExtendedProperty(target)) target.RemoveChild(former);
      } else {
        target = record->AsElement().AddElement("t:ExtendedProperty");
        WriteExtendedFieldURI(asked, target);
      }
      target.AddChild(found);
    }
  }
  if (definition->Extended) return;
  // The typed member shows the value, too. Without one it is made empty, so that the next read does not ask again.
  const string member = GetNodePath(definition);
  const auto memberIn = [&](const TVqXMLSchemaElement& record) {
    return record.AsElement().SelectSingleElement(member, kSelectQuiet);
  };
  for (TVqXMLSchemaElement* record : RecordsToMerge(memberIn(OldRecord()), memberIn(NewRecord()))) {
    IVqDOMElement node = memberIn(*record);
    if (!node) node = record->AsElement().AddElement("t:" + member);
    if (found) node.SetText(found.GetText());
  }
}

// ---- MIME content

TVqBinResponse::TVqBinResponse(std::string ASOAPResponse, const string& ASOAPResponseElmName)
    : TVqBinResponse(Cut(std::move(ASOAPResponse)), ASOAPResponseElmName) {}

TVqBinResponse::TVqBinResponse(TParts parts, const string& ASOAPResponseElmName)
    : TVqSOAPResponse(std::move(parts.Document), ASOAPResponseElmName), FMimeContent(std::move(parts.MimeContent)) {}

TVqBinResponse::TParts TVqBinResponse::Cut(std::string bytes) {
  std::shared_ptr<const std::string> content = detail::CutText(bytes, "MimeContent");
  return {std::move(bytes), std::move(content)};
}

void TVqBinResponse::SaveMimeContent(TVqStream& AStream) {
  // What is more than plain text, as no server writes it, was left to the parser.
  if (!FMimeContent) {
    FMimeContent = detail::SharedTextOf(GetBody().SelectSingleElement(".//MimeContent", kSelectQuiet));
  }
  if (FMimeContent) VqBase64Decode(*FMimeContent, AStream);
}

void TVqBinResponse::SaveMimeContent(const string& AFileName) {
  TVqFileStream file(AFileName, TVqFileMode::fmCreate);
  SaveMimeContent(file);
  file.Close();
}

void TVqEWSItemCore::SaveToFile(const string& AFileName) {
  FetchMimeContent()->SaveMimeContent(AFileName);
}

void TVqEWSItemCore::SaveToStream(TVqStream& AStream) {
  FetchMimeContent()->SaveMimeContent(AStream);
}

TVqRef<TVqBinResponse> TVqEWSItemCore::FetchMimeContent() {
  TVqEWSCall call(*this, "GetItem");
  const TItemId id = GetID();
  EwsAskForMime(call, {&id, 1});
  call.SendForItem([](std::string bytes, const string& name) -> TVqRef<TVqSOAPResponse> {
    return MakeRef<TVqBinResponse>(std::move(bytes), name);
  });
  return Supports<TVqBinResponse>(call.Response());
}

}  // namespace velmore
