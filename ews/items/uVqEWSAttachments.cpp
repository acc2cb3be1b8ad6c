#include "ews/items/uVqEWSAttachments.h"

#include <algorithm>
#include <limits>

#include "ews/model/internal/uVqEWSCall.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/os/uVqMimeTypes.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

std::int32_t SizeOf(const TVqStream& stream) {
  const std::uint64_t size = stream.GetSize();
  if (size > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
    throw EVqException("An attachment cannot be larger than 2 GB.");
  }
  return static_cast<std::int32_t>(size);
}

void SetContent(TEwsFileAttachment& file, TVqStream& stream) {
  const std::int32_t size = SizeOf(stream);
  stream.SetPosition(0);  // the size is that of the whole, and so is the content
  detail::ShareText(IVqDOMElement(file.GetNode("t:Content")),
                    std::make_shared<const std::string>(VqBase64Encode(stream)));
  file.SetSize(size);
}

/// Takes an element away again when what is to stand in it cannot be written: there is no half an attachment.
template <typename TWrite>
void WriteOrRemove(const IVqDOMElement& element, TWrite write) {
  try {
    write();
  } catch (...) {
    element.GetParentElement().RemoveChild(element);
    throw;
  }
}

}  // namespace

// ---- TVqEWSAttachment

TVqEWSAttachment::TVqEWSAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState,
                                   std::unique_ptr<TEwsAttachment> ARecord)
    : FState(std::move(AState)), FAttachment(std::move(ARecord)) {}

TVqEWSAttachment::~TVqEWSAttachment() = default;

TEwsAttachment& TVqEWSAttachment::Record() const {
  if (!FState->Alive) throw EVqException("The attachment's item is gone or was loaded again.");
  return *FAttachment;
}

IVqEWSSession& TVqEWSAttachment::Session() const {
  Record();
  return *FState->Session;
}

string TVqEWSAttachment::IdText() const {
  return IVqDOMElement(Record().FindNode("t:AttachmentId")).GetAttribute("Id");
}

void TVqEWSAttachment::SetName(const string& AValue) {
  SetModified();
  Record().SetName(AValue);
}
void TVqEWSAttachment::SetContentType(const string& AValue) {
  SetModified();
  Record().SetContentType(AValue);
}
void TVqEWSAttachment::SetContentId(const string& AValue) {
  SetModified();
  Record().SetContentId(AValue);
}
void TVqEWSAttachment::SetContentLocation(const string& AValue) {
  SetModified();
  Record().SetContentLocation(AValue);
}
void TVqEWSAttachment::SetSize(std::int32_t AValue) {
  SetModified();
  Record().SetSize(AValue);
}
void TVqEWSAttachment::SetLastModifiedTime(TDateTime AValue) {
  SetModified();
  Record().SetLastModifiedTime(AValue);
}
void TVqEWSAttachment::SetIsInline(bool AValue) {
  EwsCheckVersion(Exchange2010, Session().GetServerVersion(), "SetIsInline");
  SetModified();
  Record().SetIsInline(AValue);
}

bool TVqEWSAttachment::GetModified() {
  return std::ranges::find(FState->Modified, IdText()) != FState->Modified.end();
}

void TVqEWSAttachment::SetModified() {
  if (!GetModified()) FState->Modified.push_back(IdText());
}

IVqDOMElement TVqEWSAttachment::Fetch(bool AIncludeMimeContent, const TVqSOAPResponseFactory& AFactory) {
  TVqEWSCall call(Session(), {"GetAttachment", "m:GetAttachmentResponse"});
  const IVqDOMElement shape = call.Add("m:AttachmentShape");
  if (AIncludeMimeContent) shape.AddElement("t:IncludeMimeContent").SetText("true");
  call.Add("m:AttachmentIds/t:AttachmentId").SetAttribute("Id", IdText());
  return call.Send(AFactory);
}

// ---- TVqEWSFileAttachment

TVqEWSFileAttachment::TVqEWSFileAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState,
                                           const IVqDOMElement& AElement)
    : TVqEWSAttachment(std::move(AState), std::make_unique<TEwsFileAttachment>(AElement)) {}

TEwsFileAttachment& TVqEWSFileAttachment::File() const {
  return static_cast<TEwsFileAttachment&>(Record());
}

bool TVqEWSFileAttachment::GetIsContactPhoto() {
  return File().GetIsContactPhoto();
}

void TVqEWSFileAttachment::SetIsContactPhoto(bool AValue) {
  EwsCheckVersion(Exchange2010, Session().GetServerVersion(), "SetIsContactPhoto");
  SetModified();
  File().SetIsContactPhoto(AValue);
}

void TVqEWSFileAttachment::LoadFromStream(TVqStream* AStream) {
  SetModified();  // also when there is nothing to load
  if (AStream && AStream->GetSize() > 0) SetContent(File(), *AStream);
}

void TVqEWSFileAttachment::LoadFromFile(const string& AFileName) {
  TVqFileStream file(AFileName, TVqFileMode::fmOpenRead);
  LoadFromStream(&file);
}

void TVqEWSFileAttachment::LoadContent() {
  if (detail::TVqRawElement(IVqDOMElement(File().FindNode("t:Content"))).HasChildren()) return;
  // Content can be large: it is cut out of the reply, and there is no copy in the item's tree.
  detail::TVqSharedText content;
  const IVqDOMElement message = Fetch(false, [&content](std::string bytes, const string& name) {
    content = detail::CutText(bytes, "Content");
    return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
  });
  const IVqDOMElement fetched = message.SelectSingleElement("Attachments/*/Content", kSelectRequired);
  if (!content) content = detail::SharedTextOf(fetched);
  detail::ShareText(IVqDOMElement(File().GetNode("t:Content")), std::move(content));
}

void TVqEWSFileAttachment::SaveToStream(TVqStream& AStream) {
  LoadContent();
  std::string scratch;
  const IVqDOMElement content(File().FindNode("t:Content"));
  VqBase64Decode(detail::TVqRawElement(content).Text(scratch), AStream);
}

void TVqEWSFileAttachment::SaveToFile(const string& AFileName) {
  LoadContent();  // before the file is made: one that is there is not lost to a failure of the server
  TVqFileStream file(AFileName, TVqFileMode::fmCreate);
  SaveToStream(file);
  file.Close();
}

// ---- TVqEWSItemAttachment

TVqEWSItemAttachment::TVqEWSItemAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState,
                                           const IVqDOMElement& AElement)
    : TVqEWSAttachment(std::move(AState), std::make_unique<TEwsItemAttachment>(AElement)) {}

TEwsItemAttachment& TVqEWSItemAttachment::Attached() const {
  return static_cast<TEwsItemAttachment&>(Record());
}

TItemAttachmentType TVqEWSItemAttachment::GetItemAttachmentType() {
  // In the order in which an answer is searched. Post items are not among them.
  static constexpr struct {
    const char* Name;
    const char* Member;
    TItemAttachmentType Type;
  } kKinds[] = {
      {"Item", "t:Item", iaItem},
      {"Message", "t:Message", iaMessage},
      {"CalendarItem", "t:CalendarItem", iaCalendarItem},
      {"Contact", "t:Contact", iaContact},
      {"Task", "t:Task", iaTask},
      {"MeetingMessage", "t:MeetingMessage", iaMeetingMessage},
      {"MeetingRequest", "t:MeetingRequest", iaMeetingRequest},
      {"MeetingResponse", "t:MeetingResponse", iaMeetingResponse},
      {"MeetingCancellation", "t:MeetingCancellation", iaMeetingCancellation},
  };
  if (FItemRetrieved) return FItemType;
  const IVqDOMElement attachment = Fetch(true).SelectSingleElement("Attachments/ItemAttachment", kSelectRequired);
  for (const auto& [name, member, type] : kKinds) {
    const IVqDOMElement found = attachment.SelectSingleElement(name, kSelectQuiet);
    if (!found) continue;
    FItemType = type;
    IVqDOMElement(Attached().GetNode(member)).SetInnerXML(found.GetInnerXML());
    FItemRetrieved = true;
    return FItemType;
  }
  throw EVqException("Unsupported Attachment Type!");
}

void TVqEWSItemAttachment::Require(TItemAttachmentType AType, const char* AMessage) {
  if (GetItemAttachmentType() != AType) throw EVqException(AMessage);
}

TEwsItem& TVqEWSItemAttachment::GetItem() {
  Require(iaItem, "This attachment is not an item!");
  return Attached().GetItem();
}
TEwsMessage& TVqEWSItemAttachment::GetMessage() {
  Require(iaMessage, "This attachment is not an email message!");
  return Attached().GetMessage_();
}
TEwsCalendarItem& TVqEWSItemAttachment::GetCalendarItem() {
  Require(iaCalendarItem, "This attachment is not a calendaritem!");
  return Attached().GetCalendarItem();
}
TEwsContactItem& TVqEWSItemAttachment::GetContact() {
  Require(iaContact, "This attachment is not a contact!");
  return Attached().GetContact();
}
TEwsTask& TVqEWSItemAttachment::GetTask() {
  Require(iaTask, "This attachment is not a task!");
  return Attached().GetTask();
}
TEwsPostItem& TVqEWSItemAttachment::GetPostItem() {
  Require(iaPostItem, "This attachment is not a postitem!");
  return Attached().GetPostItem();
}
TEwsMeetingMessage& TVqEWSItemAttachment::GetMeetingMessage() {
  Require(iaMeetingMessage, "This attachment is not a meeting message!");
  return Attached().GetMeetingMessage();
}
TEwsMeetingRequestMessage& TVqEWSItemAttachment::GetMeetingRequest() {
  Require(iaMeetingRequest, "This attachment is not a meeting request!");
  return Attached().GetMeetingRequest();
}
TEwsMeetingResponseMessage& TVqEWSItemAttachment::GetMeetingResponse() {
  Require(iaMeetingResponse, "This attachment is not a meeting response!");
  return Attached().GetMeetingResponse();
}
TEwsMeetingCancellationMessage& TVqEWSItemAttachment::GetMeetingCancellation() {
  Require(iaMeetingCancellation, "This attachment is not a meeting cancellation!");
  return Attached().GetMeetingCancellation();
}
TEwsRoleMemberItem& TVqEWSItemAttachment::GetRoleMember() {
  EwsCheckVersion(Exchange2016, Session().GetServerVersion(), "GetRoleMember");
  return Attached().GetRoleMember();
}
TEwsNetworkItem& TVqEWSItemAttachment::GetNetwork() {
  EwsCheckVersion(Exchange2016, Session().GetServerVersion(), "GetNetwork");
  return Attached().GetNetwork();
}
TEwsAbchPersonItem& TVqEWSItemAttachment::GetPerson() {
  EwsCheckVersion(Exchange2016, Session().GetServerVersion(), "GetPerson");
  return Attached().GetPerson();
}

// ---- TVqEWSAttachments

TVqEWSAttachments::TVqEWSAttachments(const TVqRef<IVqEWSSession>& ASession,
                                     TEwsNonEmptyArrayOfAttachments& AAttachments)
    : FAttachments(AAttachments), FState(std::make_shared<TVqEWSAttachmentsState>()) {
  FState->Session = ASession;
}

TVqEWSAttachments::~TVqEWSAttachments() {
  FState->Alive = false;
}

// Elements are looked up anew, past the arrays' records: those stay under their old positions when an entry before them is deleted.

TVqDOMElementList TVqEWSAttachments::Files() const {
  return FAttachments.AsElement().CreateElementList(".//t:FileAttachment");
}
TVqDOMElementList TVqEWSAttachments::Items() const {
  return FAttachments.AsElement().CreateElementList(".//t:ItemAttachment");
}

std::int32_t TVqEWSAttachments::Count() {
  return Files().Count() + Items().Count();
}

TVqRef<IVqEWSAttachment> TVqEWSAttachments::GetAttachment(std::int32_t AIndex) {
  const TVqDOMElementList files = Files();
  if (AIndex < files.Count()) return MakeRef<TVqEWSFileAttachment>(FState, files.GetItem(AIndex));
  return MakeRef<TVqEWSItemAttachment>(FState, Items().GetItem(AIndex - files.Count()));
}

void TVqEWSAttachments::Clear(bool AClearInlineAttachments) {
  for (const TVqDOMElementList& list : {Items(), Files()}) {
    for (std::int32_t i = list.Count() - 1; i >= 0; --i) {
      const IVqDOMElement element = list.GetItem(i);
      const IVqDOMElement parent = element.GetParentElement();
      if (parent && (AClearInlineAttachments || !TEwsAttachment(element).GetIsInline())) parent.RemoveChild(element);
    }
  }
}

TVqRef<IVqEWSFileAttachment> TVqEWSAttachments::AddAttachment(const string& AFileName) {
  TVqFileStream file(AFileName, TVqFileMode::fmOpenRead);
  const std::size_t slash = AFileName.view().find_last_of(u"/\\");
  const string name = slash == string::npos ? AFileName : AFileName.Copy(slash + 1);
  return AddAttachment(name, VqGetFileMimeType(AFileName), file);
}

TVqRef<IVqEWSFileAttachment> TVqEWSAttachments::AddAttachment(const string& AName, const string& AContentType,
                                                              TVqStream& AStream) {
  const bool flags = FState->Session->GetServerVersion() > Exchange2009;
  TEwsFileAttachment file(FAttachments.AsElement().AddElement("t:FileAttachment"));
  WriteOrRemove(file.AsElement(), [&] {
    file.SetName(AName);
    file.SetContentType(AContentType);
    if (flags) {
      file.SetIsContactPhoto(false);
      file.SetIsInline(false);
    }
    SetContent(file, AStream);
  });
  return MakeRef<TVqEWSFileAttachment>(FState, file.AsElement());
}

TVqRef<IVqEWSItemAttachment> TVqEWSAttachments::AddAttachment(const string& AName, const TVqRef<IVqEWSItem>& AItem) {
  if (!AItem) throw EVqException("There is no item to attach.");
  TEwsItemAttachment attachment(FAttachments.AsElement().AddElement("t:ItemAttachment"));
  WriteOrRemove(attachment.AsElement(), [&] {
    attachment.AsElement().SetInnerXML(AItem->AsElement().GetXML());
    attachment.SetName(AName);
  });
  return MakeRef<TVqEWSItemAttachment>(FState, attachment.AsElement());
}

TVqRef<IVqEWSAttachment> TVqEWSAttachments::FindAttachment(const string& AAttachmentId) {
  const auto matches = [&](const IVqDOMElement& element) {
    return SameText(element.SelectSingleElement("AttachmentId", kSelectQuiet).GetAttribute("Id"), AAttachmentId);
  };
  for (const IVqDOMElement& file : Files()) {
    if (matches(file)) return MakeRef<TVqEWSFileAttachment>(FState, file);
  }
  for (const IVqDOMElement& item : Items()) {
    if (matches(item)) return MakeRef<TVqEWSItemAttachment>(FState, item);
  }
  return {};
}

void TVqEWSAttachments::DeleteAttachment(std::int32_t AIndex) {
  const IVqDOMElement element = GetAttachment(AIndex)->AsElement();
  element.GetParentElement().RemoveChild(element);
}

void TVqEWSAttachments::PrepareReplacement(IVqEWSAttachment& AAttachment) {
  if (auto* file = dynamic_cast<TVqEWSFileAttachment*>(&AAttachment)) {
    file->LoadContent();
  } else {
    // What was fetched before stays, with what was changed in it.
    bool there = false;
    for (const IVqDOMElement& member : AAttachment.AsElement().GetChildElements())
      there = there || (member.HasChildElements() && EwsFindItemClass(member.GetLocalName()));
    if (!there) dynamic_cast<IVqEWSItemAttachment&>(AAttachment).GetItemAttachmentType();
  }
  AAttachment.GetAttachmentId().AsElement().SetAttribute("Id", string());
}

string TVqEWSAttachments::Serialize(TVqDataSerializationFormatType AFormat) {
  return FAttachments.Serialize(AFormat);
}
void TVqEWSAttachments::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  FAttachments.Deserialize(AFormat, AText);
}
string TVqEWSAttachments::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) {
  return FAttachments.AsXML(ATargetNamespace, AExcludeNamespaces);
}
string TVqEWSAttachments::AsJSON() {
  return FAttachments.AsJSON();
}

}  // namespace velmore
