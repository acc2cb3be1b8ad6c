// How an item's attachments reach the server: what is gone is deleted, what is new is made, and what was changed is
// both. Pictures of an HTML body become attachments on the way.

#include "ews/items/uVqEWSItem.h"

#include <algorithm>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSInlineImages_p.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

constexpr TVqEWSOperation kCreateAttachment{"CreateAttachment", "m:CreateAttachmentResponse",
                                            TVqEWSAnswerPath::prefixed};
constexpr TVqEWSOperation kDeleteAttachment{"DeleteAttachment", "m:DeleteAttachmentResponse",
                                            TVqEWSAnswerPath::prefixed};

string IdOf(const IVqDOMElement& attachment) {
  return attachment.SelectSingleElement("AttachmentId", kSelectQuiet).GetAttribute("Id");
}

/// Ids of files and items below `t:Attachments`; other kinds are none that could have been removed or changed here.
std::vector<string> IdsBelow(const IVqDOMElement& attachments) {
  std::vector<string> ids;
  for (const IVqDOMElement& attachment : attachments.GetChildElements()) {
    if (attachment.GetLocalName() != "FileAttachment" && attachment.GetLocalName() != "ItemAttachment") continue;
    ids.push_back(attachment.SelectSingleElement("AttachmentId", kSelectRequired).GetAttribute("Id"));
  }
  return ids;
}

bool ContainsId(const std::vector<string>& ids, const string& id) {
  return std::ranges::any_of(ids, [&](const string& other) { return SameText(other, id); });
}

/// Whether an attachment of the server is one that was made from this one, as far as both tell: servers before
/// Exchange2010 know no sizes, and of an item the client knows none.
bool IsMadeFrom(const IVqDOMElement& made, const IVqDOMElement& own) {
  const auto same = [&](const char* name) {
    return made.SelectSingleElement(name, kSelectQuiet).GetText() ==
           own.SelectSingleElement(name, kSelectQuiet).GetText();
  };
  const bool bothHaveSizes = made.HasChildElement("Size", kSelectQuiet) && own.HasChildElement("Size", kSelectQuiet);
  return made.GetLocalName() == own.GetLocalName() && same("Name") && same("ContentId") &&
         (!bothHaveSizes || same("Size"));
}

/// The MIME text of an attached item has its attachments, too: beside them, the server would make each of them twice.
void LeaveOutMimeContent(const IVqDOMElement& attachment) {
  for (const IVqDOMElement& item : attachment.GetChildElements()) {
    if (!EwsFindItemClass(item.GetLocalName())) continue;
    const IVqDOMElement inside = item.SelectSingleElement("Attachments", kSelectQuiet);
    if (!inside.HasChildElements()) continue;
    if (const IVqDOMElement mime = item.SelectSingleElement("MimeContent", kSelectQuiet)) item.RemoveChild(mime);
    for (const IVqDOMElement& deeper : inside.GetChildElements()) LeaveOutMimeContent(deeper);
  }
}

/// Beside the item inside, a getter of another kind may have left an empty element.
bool IsLeftOver(const IVqDOMElement& member) {
  if (!EwsFindItemClass(member.GetLocalName()) || !EwsIsEmpty(member)) return false;
  for (const IVqDOMElement& other : member.GetParentElement().GetChildElements()) {
    if (EwsFindItemClass(other.GetLocalName()) && !EwsIsEmpty(other)) return true;
  }
  return false;
}

}  // namespace

std::vector<TVqRef<IVqEWSAttachment>> TVqEWSItemCore::OwnAttachments() {
  if (IsPart()) return {};  // nobody has asked for any since the last save
  // Asking the item for its attachments would ask the server.
  return Item().FindNode("t:Attachments") ? GetAttachments().OwnAttachments() : std::vector<TVqRef<IVqEWSAttachment>>();
}

// ---- Before anything is sent

// What cannot be made anew is told before anything is changed on the server.
void TVqEWSItemCore::PrepareAttachments() {
  if (FCreationIsUnsure) TakeOverCreatedAttachments();
  for (const TVqRef<IVqEWSAttachment>& attachment : OwnAttachments()) {
    if (IdOf(attachment->AsElement()).empty() || attachment->GetModified()) GetAttachments().Complete(*attachment);
  }
}

// The answer to a creation was lost: what stands on the server now, and did not before, was made by it.
void TVqEWSItemCore::TakeOverCreatedAttachments() {
  TVqEWSCall call(*this, "GetItem");
  call.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  call.Add("m:ItemShape/t:AdditionalProperties/t:FieldURI").SetAttribute("FieldURI", "item:Attachments");
  call.AddLoadId(call.Add("m:ItemIds"), "t:ItemId", GetID());
  const IVqDOMElement present = call.SendForItem().SelectSingleElement("Attachments", kSelectQuiet);
  const std::vector<string> known = KnownAttachments();
  std::vector<TVqRef<IVqEWSAttachment>> own = OwnAttachments();
  std::erase_if(own, [](const auto& attachment) { return !IdOf(attachment->AsElement()).empty(); });
  for (const IVqDOMElement& made : present.GetChildElements()) {
    const string id = IdOf(made);
    if (id.empty() || ContainsId(known, id)) continue;
    const auto match =
        std::ranges::find_if(own, [&](const auto& attachment) { return IsMadeFrom(made, attachment->AsElement()); });
    if (match == own.end()) continue;
    (*match)->GetAttachmentId().SetId(id);
    FCreatedAttachments.push_back(id);
    own.erase(match);
  }
  FCreationIsUnsure = false;
}

/// Ids that this object knows of: as loaded, and made by a save that failed on its way, of which no load has told yet.
std::vector<string> TVqEWSItemCore::KnownAttachments() {
  std::vector<string> known = IdsBelow(KnownOldRecord().AsElement().SelectSingleElement("Attachments", kSelectQuiet));
  known.insert(known.end(), FCreatedAttachments.begin(), FCreatedAttachments.end());
  return known;
}

// ---- Behind the item

void TVqEWSItemCore::SaveAttachments(bool AKeyIsFresh) {
  std::vector<string> deleted = KnownAttachments();
  bool creates = false;
  for (const TVqRef<IVqEWSAttachment>& attachment : OwnAttachments()) {
    const string id = IdOf(attachment->AsElement());
    const bool isMade = id.empty() || attachment->GetModified();
    creates = creates || isMade;
    if (!isMade) std::erase_if(deleted, [&](const string& other) { return SameText(other, id); });
  }
  if (!AKeyIsFresh && (creates || !deleted.empty())) FetchChangeKey();
  DeleteAttachments(deleted);
  CreateAttachments();
}

// Without an update the key is as old as the load; a creation with an old one is refused.
void TVqEWSItemCore::FetchChangeKey() {
  TVqEWSCall call(*this, "GetItem");
  call.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  call.AddLoadId(call.Add("m:ItemIds"), "t:ItemId", GetID());
  SetRootId(EwsReadId(call.SendForItem().SelectSingleElement("ItemId", kSelectRequired)));
}

/// An answer that leaves a part out leaves that part as it was.
void TVqEWSItemCore::SetRootId(const TItemId& AId) {
  const TItemId known = GetID();
  SetId({AId.Id.empty() ? known.Id : AId.Id, AId.ChangeKey.empty() ? known.ChangeKey : AId.ChangeKey});
}

void TVqEWSItemCore::DeleteAttachments(const std::vector<string>& AIds) {
  if (AIds.empty()) return;
  TVqEWSCall call(*this, kDeleteAttachment);
  const IVqDOMElement ids = call.Add("m:AttachmentIds");
  for (const string& id : AIds) ids.AddElement("t:AttachmentId").SetAttribute("Id", id);
  const IVqDOMElement messages = call.SendAllUnchecked();
  // A deletion that the server refuses leaves the save going on; RefusedDeletions tells of it.
  std::size_t which = 0;
  for (const IVqDOMElement& message : messages.GetChildElements()) {
    if (which == AIds.size()) break;
    const string& id = AIds[which++];
    try {
      call.Check(message);
      const IVqDOMElement root = message.SelectSingleElement("RootItemId", kSelectQuiet);
      SetRootId({root.GetAttribute("RootItemId"), root.GetAttribute("RootItemChangeKey")});
    } catch (const EEWSException& refusal) {
      std::erase_if(FRefusedDeletions, [&](const auto& other) { return SameText(other.AttachmentId, id); });
      FRefusedDeletions.push_back({id, refusal});
    }
  }
  // What was changed is made anew now.
  for (const TVqRef<IVqEWSAttachment>& attachment : OwnAttachments()) {
    if (ContainsId(AIds, IdOf(attachment->AsElement()))) attachment->GetAttachmentId().SetId(string());
  }
  std::erase_if(FCreatedAttachments, [&](const string& id) { return ContainsId(AIds, id); });
}

void TVqEWSItemCore::CreateAttachments() {
  for (const TVqRef<IVqEWSAttachment>& attachment : OwnAttachments()) {
    const IVqDOMElement element = attachment->AsElement();
    if (!IdOf(element).empty()) continue;
    TVqEWSCall call(*this, kCreateAttachment);
    EwsWriteId(call.Add("m:ParentItemId"), GetID());
    const IVqDOMElement created = call.Add("m:Attachments").AddElement(element.GetQualifiedName());
    for (const IVqDOMElement& member : element.GetChildElements()) {
      const string name = member.GetLocalName();
      if (name == "Content") {
        detail::ShareText(created.AddElement("t:Content"), detail::SharedTextOf(member));  // can be large: no copy
      } else if (name != "AttachmentId" && !IsLeftOver(member)) {                          // an emptied id is none
        created.AddChild(member);
      }
    }
    LeaveOutMimeContent(created);
    FCreationIsUnsure = true;
    const IVqDOMElement message = call.SendUnchecked();
    FCreationIsUnsure = false;  // a refusal made nothing
    call.Check(message);
    FCreationIsUnsure = true;
    const IVqDOMElement answer = call.FindMade(message, "//AttachmentId");
    const IVqDOMElement attachmentId = attachment->GetAttachmentId().AsElement();
    for (const char* name : {"Id", "RootItemId", "RootItemChangeKey"}) {
      const string value = answer.GetAttribute(name);
      if (!value.empty()) attachmentId.SetAttribute(name, value);
    }
    FCreatedAttachments.push_back(answer.GetAttribute("Id"));
    FCreationIsUnsure = false;
    // Each attachment changes the item's change key, and the next request must carry the new one.
    SetRootId({answer.GetAttribute("RootItemId"), answer.GetAttribute("RootItemChangeKey")});
  }
}

// Deletions that were refused because there was nothing left to delete are none that anybody wants to hear of.
void TVqEWSItemCore::ForgetCarriedOutDeletions() {
  const std::vector<string> present =
      IdsBelow(NewRecord().AsElement().SelectSingleElement("Attachments", kSelectQuiet));
  std::erase_if(FRefusedDeletions, [&](const auto& refused) { return !ContainsId(present, refused.AttachmentId); });
}

// ---- Pictures of an HTML body

void TVqEWSItemCore::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  const IVqDOMElement method = ASOAPRequest.GetMethod();
  IVqDOMElement body;
  if (method.GetLocalName() == "CreateItem") {
    body = method.SelectSingleElement("Items/*/Body", kSelectQuiet);
  } else if (method.GetLocalName() == "UpdateItem") {  // of messages only
    body = method.SelectSingleElement("ItemChanges/ItemChange/Updates/SetItemField/Message/Body", kSelectQuiet);
  }
  if (!body) return;
  const string type = body.GetAttribute("BodyType");
  if (type.empty()) {  // a body that was never given a type is not sent
    body.GetParentElement().RemoveChild(body);
  } else if (type == "HTML") {
    MoveImages(body);
  }
}

// What the HTML of this item was before the application wrote any: its "file:" sources name files of somebody else's
// machine.
string TVqEWSItemCore::ForeignHtml() {
  return IVqDOMElement(OldRecord().FindNode("t:Body")).GetText();
}

void TVqEWSItemCore::MoveImages(const IVqDOMElement& ABody) {
  const std::string source = ABody.GetTextAsUtf8();
  const std::string foreign = ForeignHtml().utf8();
  const bool localImages = ActiveSession().GetLocalImages();
  struct TImage {
    string Name, Type;
    std::unique_ptr<TVqStream> Content;
  };
  std::vector<TImage> images;
  std::string html;
  const TVqInlineImages rules{
      .TakesFile =
          [&](const std::string& file) { return localImages && foreign.find('"' + file + '"') == std::string::npos; },
      .IsTaken = [&](const std::string& name) { return VqShowsInlineImage(source, name); },
      .Take =
          [&](const string& name, const string& type, std::unique_ptr<TVqStream> content) {
            images.push_back({name, type, std::move(content)});
          }};
  if (!VqMoveInlineImages(source, html, rules)) return;
  // A picture that cannot be taken has raised by now, and so does a server that knows no inline attachments: the
  // attachments are as they were then.
  NeedsVersion(Exchange2010, "SetIsInline");
  ClearInlineAttachments(source);
  for (const TImage& image : images) {
    const TVqRef<IVqEWSFileAttachment> attachment =
        GetAttachments().AddAttachment(image.Name, image.Type, *image.Content);
    attachment->SetIsInline(true);
    attachment->SetContentId(image.Name);
  }
  ABody.SetText(html);
}

void TVqEWSItemCore::ClearInlineAttachments() {
  ClearInlineAttachments(std::string());
}

// Pictures that the body still shows stay.
void TVqEWSItemCore::ClearInlineAttachments(const std::string& AHtml) {
  const std::vector<TVqRef<IVqEWSAttachment>> own = OwnAttachments();
  for (auto attachment = own.rbegin(); attachment != own.rend(); ++attachment) {
    const string name = (*attachment)->GetContentId();
    if ((*attachment)->GetAttachmentType() != attFile || !(*attachment)->GetIsInline() ||
        !name.StartsWith(kInlineImageName) || VqShowsInlineImage(AHtml, name.utf8()))
      continue;
    const IVqDOMElement element = (*attachment)->AsElement();
    element.GetParentElement().RemoveChild(element);
  }
}

}  // namespace velmore
