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

bool IsAttachment(const IVqDOMElement& element) {
  const string name = element.GetLocalName();
  return name == "FileAttachment" || name == "ItemAttachment";
}

bool HasContent(const IVqDOMElement& file) {
  const IVqDOMElement content = file.SelectSingleElement("Content", kSelectQuiet);
  return content && detail::TVqRawElement(content).HasChildren();
}

/// The item of an item attachment, if it is there.
IVqDOMElement ItemInside(const IVqDOMElement& attachment) {
  for (const IVqDOMElement& member : attachment.GetChildElements())
    if (EwsFindItemClass(member.GetLocalName())) return member;
  return {};
}

void CheckAlive(const TVqEWSAttachmentsState& state) {
  if (!state.Alive) throw EVqException("The attachment's item is gone or was loaded again.");
}

/// What stands deeper is shown by the list and belongs to an item inside: no save would carry a change out.
void CheckOwn(const TVqEWSAttachmentsState& state, const IVqDOMElement& element) {
  if (element.GetParentElement() != state.Parent)
    throw EVqException("The attachment belongs to an item inside of this one: it cannot be changed or deleted here.");
}

}  // namespace

// ---- What views share

std::shared_ptr<TVqEWSAttachmentContent> TVqEWSAttachmentsState::ContentOf(const IVqDOMElement& AElement,
                                                                           const TVqXMLSchemaClass& AClass) {
  for (const auto& [element, content] : Contents)
    if (element == AElement) return content;
  auto content = std::make_shared<TVqEWSAttachmentContent>();
  content->Record.reset(static_cast<TEwsAttachment*>(AClass.CreateRecord(AElement).release()));
  Contents.emplace_back(AElement, content);
  return content;
}

void TVqEWSAttachmentsState::Discard() noexcept {
  Alive = false;
  Parent = {};
  for (auto& [element, content] : Contents) {
    element = {};
    content->Record->Discard();
  }
}

// ---- TVqEWSAttachment

TVqEWSAttachment::TVqEWSAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState, const IVqDOMElement& AElement,
                                   const TVqXMLSchemaClass& AClass)
    : FState(std::move(AState)), FContent(FState->ContentOf(AElement, AClass)) {}

TVqEWSAttachment::~TVqEWSAttachment() = default;

TVqEWSAttachmentContent& TVqEWSAttachment::Content() const {
  CheckAlive(*FState);
  return *FContent;
}

TEwsAttachment& TVqEWSAttachment::Record() const {
  return *Content().Record;
}

IVqEWSSession& TVqEWSAttachment::Session() const {
  Record();
  return *FState->Session;
}

string TVqEWSAttachment::IdText() const {
  return IVqDOMElement(Record().FindNode("t:AttachmentId")).GetAttribute("Id");
}

void TVqEWSAttachment::Change(const std::function<void()>& AWrite) {
  const bool marked = GetModified();
  SetModified();
  try {
    AWrite();
  } catch (...) {
    if (!marked) std::erase(FState->Modified, IdText());
    throw;
  }
}

void TVqEWSAttachment::SetName(const string& AValue) {
  Change([&] { Record().SetName(AValue); });
}
void TVqEWSAttachment::SetContentType(const string& AValue) {
  Change([&] { Record().SetContentType(AValue); });
}
void TVqEWSAttachment::SetContentId(const string& AValue) {
  Change([&] { Record().SetContentId(AValue); });
}
void TVqEWSAttachment::SetContentLocation(const string& AValue) {
  Change([&] { Record().SetContentLocation(AValue); });
}
void TVqEWSAttachment::SetSize(std::int32_t AValue) {
  Change([&] { Record().SetSize(AValue); });
}
void TVqEWSAttachment::SetLastModifiedTime(TDateTime AValue) {
  Change([&] { Record().SetLastModifiedTime(AValue); });
}
void TVqEWSAttachment::SetIsInline(bool AValue) {
  EwsCheckVersion(Exchange2010, Session().GetServerVersion(), "SetIsInline");
  Change([&] { Record().SetIsInline(AValue); });
}

bool TVqEWSAttachment::GetModified() {
  return std::ranges::find(FState->Modified, IdText()) != FState->Modified.end();
}

void TVqEWSAttachment::SetModified() {
  CheckOwn(*FState, Record().AsElement());
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
    : TVqEWSAttachment(std::move(AState), AElement, TEwsFileAttachment::SchemaClass()) {}

TEwsFileAttachment& TVqEWSFileAttachment::File() const {
  return static_cast<TEwsFileAttachment&>(Record());
}

bool TVqEWSFileAttachment::GetIsContactPhoto() {
  return File().GetIsContactPhoto();
}

void TVqEWSFileAttachment::SetIsContactPhoto(bool AValue) {
  EwsCheckVersion(Exchange2010, Session().GetServerVersion(), "SetIsContactPhoto");
  Change([&] { File().SetIsContactPhoto(AValue); });
}

void TVqEWSFileAttachment::LoadFromStream(TVqStream* AStream) {
  Change([&] {  // also when there is nothing to load
    if (AStream && AStream->GetSize() > 0) SetContent(File(), *AStream);
  });
}

void TVqEWSFileAttachment::LoadFromFile(const string& AFileName) {
  TVqFileStream file(AFileName, TVqFileMode::fmOpenRead);
  LoadFromStream(&file);
}

void TVqEWSFileAttachment::LoadContent() {
  if (Content().Retrieved || HasContent(File().AsElement()) || IdText().empty()) return;
  // Content can be large: it is cut out of the reply, and there is no copy in the item's tree.
  detail::TVqSharedText content;
  const IVqDOMElement message = Fetch(false, [&content](std::string bytes, const string& name) {
    content = detail::CutText(bytes, "Content");
    return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
  });
  const IVqDOMElement fetched = message.SelectSingleElement("Attachments/*/Content", kSelectRequired);
  if (!content) content = detail::SharedTextOf(fetched);
  detail::ShareText(IVqDOMElement(File().GetNode("t:Content")), std::move(content));
  Content().Retrieved = true;
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
    : TVqEWSAttachment(std::move(AState), AElement, TEwsItemAttachment::SchemaClass()) {}

TEwsItemAttachment& TVqEWSItemAttachment::Attached() const {
  return static_cast<TEwsItemAttachment&>(Record());
}

void TVqEWSItemAttachment::SetModified() {
  CheckAttachable();
  TVqEWSAttachment::SetModified();
}

// A changed attachment is deleted and made anew by the save, for which it must be known whole: said here, and not in
// the middle of the save.
void TVqEWSItemAttachment::CheckAttachable() {
  if (!IdText().empty() && !ItemInside(Record().AsElement())) GetItemAttachmentType();
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
  TVqEWSAttachmentContent& content = Content();
  if (content.Retrieved) return content.ItemType;
  const bool isNew = IdText().empty();  // what the server knows nothing of stands in memory
  const IVqDOMElement attachment =
      isNew ? Record().AsElement() : Fetch(true).SelectSingleElement("Attachments/ItemAttachment", kSelectRequired);
  for (const auto& [name, member, type] : kKinds) {
    const IVqDOMElement found = attachment.SelectSingleElement(name, kSelectQuiet);
    if (!found) continue;
    if (!isNew) IVqDOMElement(Attached().GetNode(member)).SetInnerXML(found.GetInnerXML());
    content.ItemType = type;
    content.Retrieved = true;
    return type;
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
  FState->Parent = AAttachments.AsElement();
}

TVqEWSAttachments::~TVqEWSAttachments() {
  Discard();
}

void TVqEWSAttachments::Discard() noexcept {
  FState->Discard();
}

TEwsNonEmptyArrayOfAttachments& TVqEWSAttachments::List() const {
  CheckAlive(*FState);
  return FAttachments;
}

// Elements are looked up anew, past the arrays' records: those stay under their old positions when an entry before them
// is deleted.

TVqDOMElementList TVqEWSAttachments::Files() const {
  return List().AsElement().CreateElementList(".//t:FileAttachment");
}
TVqDOMElementList TVqEWSAttachments::Items() const {
  return List().AsElement().CreateElementList(".//t:ItemAttachment");
}

std::int32_t TVqEWSAttachments::Count() {
  return Files().Count() + Items().Count();
}

TVqRef<IVqEWSAttachment> TVqEWSAttachments::ViewOf(const IVqDOMElement& AElement) const {
  if (AElement.GetLocalName() == "FileAttachment") return MakeRef<TVqEWSFileAttachment>(FState, AElement);
  return MakeRef<TVqEWSItemAttachment>(FState, AElement);
}

TVqRef<IVqEWSAttachment> TVqEWSAttachments::GetAttachment(std::int32_t AIndex) {
  const TVqDOMElementList files = Files();
  return ViewOf(AIndex < files.Count() ? files.GetItem(AIndex) : Items().GetItem(AIndex - files.Count()));
}

std::vector<TVqRef<IVqEWSAttachment>> TVqEWSAttachments::OwnAttachments() {
  std::vector<TVqRef<IVqEWSAttachment>> own;
  for (const IVqDOMElement& element : List().AsElement().GetChildElements()) {
    // Other kinds, such as links, are none that could have been added or changed here.
    if (IsAttachment(element)) own.push_back(ViewOf(element));
  }
  return own;
}

void TVqEWSAttachments::Clear(bool AClearInlineAttachments) {
  const IVqDOMElement parent = List().AsElement();
  const TVqDOMElementList children = parent.GetChildElements();
  for (std::int32_t i = children.Count() - 1; i >= 0; --i) {
    const IVqDOMElement element = children.GetItem(i);
    if (IsAttachment(element) && (AClearInlineAttachments || !TEwsAttachment(element).GetIsInline()))
      parent.RemoveChild(element);
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
  TEwsFileAttachment file(List().AsElement().AddElement("t:FileAttachment"));
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
  TEwsItemAttachment attachment(List().AsElement().AddElement("t:ItemAttachment"));
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
  for (const TVqDOMElementList& list : {Files(), Items()}) {
    for (const IVqDOMElement& element : list)
      if (matches(element)) return ViewOf(element);
  }
  return {};
}

void TVqEWSAttachments::DeleteAttachment(std::int32_t AIndex) {
  const IVqDOMElement element = GetAttachment(AIndex)->AsElement();
  CheckOwn(*FState, element);
  element.GetParentElement().RemoveChild(element);
}

void TVqEWSAttachments::Complete(IVqEWSAttachment& AAttachment) {
  if (auto* file = dynamic_cast<TVqEWSFileAttachment*>(&AAttachment)) return file->LoadContent();
  auto& attached = dynamic_cast<TVqEWSItemAttachment&>(AAttachment);
  // What was fetched before stays, with what was changed in it.
  attached.CheckAttachable();
  if (const IVqDOMElement item = ItemInside(attached.AsElement())) CompleteInside(item);
}

void TVqEWSAttachments::CompleteInside(const IVqDOMElement& AItem) {
  for (const IVqDOMElement& element : AItem.SelectSingleElement("Attachments", kSelectQuiet).GetChildElements()) {
    if (!IsAttachment(element)) continue;
    const TVqRef<IVqEWSAttachment> attachment = ViewOf(element);
    Complete(*attachment);
    TEwsAttachment(element).RemoveNode("t:AttachmentId");  // that of another item, which stays as it is
  }
}

string TVqEWSAttachments::Serialize(TVqDataSerializationFormatType AFormat) {
  return List().Serialize(AFormat);
}
void TVqEWSAttachments::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  List().Deserialize(AFormat, AText);
}
string TVqEWSAttachments::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) {
  return List().AsXML(ATargetNamespace, AExcludeNamespaces);
}
string TVqEWSAttachments::AsJSON() {
  return List().AsJSON();
}

}  // namespace velmore
