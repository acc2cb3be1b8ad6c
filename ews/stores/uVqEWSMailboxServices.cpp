#include "ews/stores/uVqEWSMailboxServices.h"

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/schema/uVqEWSTypes.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSerializer.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"
#include "platform/xml/uVqCodePages.h"

namespace velmore {
namespace {

constexpr const char* kState = "OofSettings/OofState";
constexpr const char* kAudience = "OofSettings/ExternalAudience";
constexpr const char* kStart = "OofSettings/Duration/StartTime";
constexpr const char* kEnd = "OofSettings/Duration/EndTime";
constexpr const char* kInternal = "OofSettings/InternalReply/Message";
constexpr const char* kExternal = "OofSettings/ExternalReply/Message";
// Beside the settings and not under them, on purpose: it is the administrator's word and no setting of the user's.
constexpr const char* kAllowed = "AllowExternalOof";

// By local names whose case counts.
constexpr TVqDOMSelectOptions kFind{20};
constexpr TVqDOMSelectOptions kMake{22};

}  // namespace

// ---- TVqEWSOOF

TVqEWSOOF::TVqEWSOOF(TVqEWSMsgStore& AMsgStore, const IVqDOMElement& AResponse)
    : FMsgStore(&AMsgStore), FGetUserOofSettingsResponse(AResponse) {}

IVqDOMElement TVqEWSOOF::Find(const char* APath) const {
  return FGetUserOofSettingsResponse.SelectSingleElement(APath, kFind);
}

IVqDOMElement TVqEWSOOF::Make(const char* APath) const {
  return FGetUserOofSettingsResponse.SelectSingleElement(APath, kMake);
}

/// The text of an enumeration as it goes back to the server: what a newer server said and this version has no value for
/// stays as it is.
template <typename T>
string TVqEWSOOF::TextOf(const char* APath) const {
  const string text = Find(APath).GetText();
  return text.empty() ? VqEnumToText(T{}) : text;
}

TOofState TVqEWSOOF::GetState() {
  return VqTextToEnum<TOofState>(Find(kState).GetText());
}
TExternalAudience TVqEWSOOF::GetExternalAudience() {
  return VqTextToEnum<TExternalAudience>(Find(kAudience).GetText());
}
TExternalAudience TVqEWSOOF::GetAllowExternalOof() {
  return VqTextToEnum<TExternalAudience>(Find(kAllowed).GetText());
}
TDateTime TVqEWSOOF::GetEndTime() {
  return Find(kEnd).GetAsDateTime();
}
string TVqEWSOOF::GetExternalReply() {
  return Find(kExternal).GetText();
}
string TVqEWSOOF::GetInternalReply() {
  return Find(kInternal).GetText();
}
TDateTime TVqEWSOOF::GetStartTime() {
  return Find(kStart).GetAsDateTime();
}

void TVqEWSOOF::SetState(TOofState AValue) {
  Make(kState).SetText(VqEnumToText(AValue));
}
void TVqEWSOOF::SetExternalAudience(TExternalAudience AValue) {
  Make(kAudience).SetText(VqEnumToText(AValue));
}
void TVqEWSOOF::SetEndTime(TDateTime AValue) {
  Make(kEnd).SetAsDateTime(AValue);
}
void TVqEWSOOF::SetExternalReply(const string& AValue) {
  Make(kExternal).SetText(AValue);
}
void TVqEWSOOF::SetInternalReply(const string& AValue) {
  Make(kInternal).SetText(AValue);
}
void TVqEWSOOF::SetStartTime(TDateTime AValue) {
  Make(kStart).SetAsDateTime(AValue);
}

void TVqEWSOOF::Clear() {
  SetState(osDisabled);
  SetExternalAudience(eaNone);
  SetInternalReply({});
  SetExternalReply({});
  Apply();
}

void TVqEWSOOF::Apply() {
  TVqEWSCall call(*FMsgStore, {"SetUserOofSettingsRequest", "m:SetUserOofSettingsResponse", TVqEWSAnswerPath::single});
  const IVqDOMElement mailbox = call.Add("t:Mailbox");
  mailbox.AddElement("t:Address").SetText(FMsgStore->GetIdentity()->GetEmailAddress());
  mailbox.AddElement("t:RoutingType").SetText("SMTP");
  const IVqDOMElement settings = call.Add("t:UserOofSettings");
  settings.AddElement("t:OofState").SetText(TextOf<TOofState>(kState));
  settings.AddElement("t:ExternalAudience").SetText(TextOf<TExternalAudience>(kAudience));
  // The times say nothing in any other state, whatever they hold.
  if (GetState() == osScheduled) {
    const IVqDOMElement duration = settings.AddElement("t:Duration");
    duration.AddElement("t:StartTime").SetAsDateTime(GetStartTime());
    duration.AddElement("t:EndTime").SetAsDateTime(GetEndTime());
  }
  settings.AddElement("t:InternalReply").AddElement("t:Message").SetText(GetInternalReply());
  settings.AddElement("t:ExternalReply").AddElement("t:Message").SetText(GetExternalReply());
  call.Send();
}

TVqRef<IVqEWSOOF> TVqEWSMsgStore::GetOOF() {
  TVqEWSCall call(*this, {"GetUserOofSettingsRequest", "m:GetUserOofSettingsResponse", TVqEWSAnswerPath::single});
  call.Add("t:Mailbox/t:Address").SetText(GetIdentity()->GetEmailAddress());
  return MakeRef<TVqEWSOOF>(*this, call.Send().GetParentElement());
}

// ---- TVqEWSCategories

TVqEWSCategories::TVqEWSCategories(const IVqDOMElement& AXmlData) {
  TVqMemoryStream blob;
  std::string scratch;
  VqBase64Decode(detail::TVqRawElement(AXmlData).Text(scratch), blob);
  blob.SetPosition(0);
  const std::int32_t codePage = VqGetCodePage(blob);
  const TVqDOMDocument document(blob, codePage == 0 ? kVqCodePageUtf8 : codePage);
  const IVqDOMElement categories = document.SelectSingleElement("/categories", kSelectRequired);
  FDefaultCategory = categories.GetAttribute("default");
  for (const IVqDOMElement& category : categories.GetChildElements())
    FCategories.push_back(std::make_unique<TVqEWSCategory>(category));
}

TVqEWSCategory& TVqEWSCategories::GetCategory(std::int32_t AIndex) {
  if (AIndex < 0 || AIndex >= Count()) throw EListError("There is no category at position " + IntToStr(AIndex) + ".");
  return *FCategories[static_cast<std::size_t>(AIndex)];
}

TVqRef<IVqEWSCategories> TVqEWSMsgStore::GetCategories() {
  EwsCheckVersion(Exchange2013, ActiveSession().GetServerVersion(), "GetCategories");
  // Looked at and never filled, on purpose: a list that is kept would hide what other clients change.
  if (FCategories) return FCategories;
  TVqEWSCall call(*this, "GetUserConfiguration");
  const IVqDOMElement name = call.Add("m:UserConfigurationName");
  name.SetAttribute("Name", "CategoryList");
  name.AddElement("t:DistinguishedFolderId").SetAttribute("Id", VqEnumToText(dfincalendar));
  call.Add("m:UserConfigurationProperties").SetText("All");
  const IVqDOMElement data = call.Send().SelectSingleElement("UserConfiguration/XmlData", kSelectRequired);
  static constexpr const char* kBroken = "The list of categories that GetUserConfiguration gave cannot be read.";
  try {
    return MakeRef<TVqEWSCategories>(data);
  } catch (const EVqXMLError& failure) {
    std::throw_with_nested(EVqXMLError(kBroken, failure.GetLine(), failure.GetColumn()));
  } catch (const EConvertError&) {
    std::throw_with_nested(EVqXMLError(kBroken, 0, 0));
  }
}

// ---- Rooms and photos

TVqRef<IVqEWSRecipients> TVqEWSMsgStore::GetRoomLists() {
  TVqEWSCall call(*this, {"GetRoomLists", "", TVqEWSAnswerPath::bare});
  // A server without lists may leave the element out.
  return MakeRef<TVqEWSRecipients>(call.Send().SelectSingleElement("RoomLists", kSelectCreate), "Address",
                                   ActiveSession().GetServerVersion());
}

TVqRef<IVqEWSRecipients> TVqEWSMsgStore::GetRooms(const string& ARoomListEMailAddress) {
  TVqEWSCall call(*this, {"GetRooms", "", TVqEWSAnswerPath::bare});
  call.Add("m:RoomList/t:EmailAddress").SetText(ARoomListEMailAddress);
  return MakeRef<TVqEWSRecipients>(call.Send().SelectSingleElement("Rooms", kSelectCreate), "Id",
                                   ActiveSession().GetServerVersion());
}

void TVqEWSMsgStore::GetUserPhoto(TVqStream& APhoto, TSizeRequested ASize) {
  TVqEWSCall call(*this, {"GetUserPhoto", "m:GetUserPhotoResponse", TVqEWSAnswerPath::bare});
  call.Add("m:Email").SetText(GetIdentity()->GetEmailAddress());
  call.Add("m:SizeRequested").SetText(VqEnumToText(ASize));
  // A photo can be large: it is cut out of the reply, and its bytes are nowhere but in the stream.
  detail::TVqSharedText picture;
  const IVqDOMElement message = call.Send([&picture](std::string bytes, const string& name) {
    picture = detail::CutText(bytes, "PictureData");
    return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
  });
  const detail::TVqRawElement data(message.SelectSingleElement("PictureData", kSelectRequired));
  std::string scratch;
  VqBase64Decode(picture && !data.HasChildren() ? std::string_view(*picture) : data.Text(scratch), APhoto);
}

}  // namespace velmore
