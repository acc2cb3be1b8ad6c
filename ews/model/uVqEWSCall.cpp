#include "ews/model/internal/uVqEWSCall.h"

#include <algorithm>

namespace velmore {

TVqEWSCall::TVqEWSCall(TVqEWSObject& AObject, const TVqEWSOperation& AOperation, TVqSOAPClient* AClient)
    : FSession(AObject.ActiveSession()),
      FOperation(AOperation),
      FRequest(AObject.CreateRequest(AClient, string("m:") + AOperation.Name, AOperation.ResponseName)) {}

TVqEWSCall::TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation)
    : TVqEWSCall(ASession, AOperation,
                 ASession.CreateRequest(nullptr, string("m:") + AOperation.Name, AOperation.ResponseName)) {}

TVqEWSCall::TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation, TVqRef<IVqSOAPRequest> ARequest)
    : FSession(ASession), FOperation(AOperation), FRequest(std::move(ARequest)) {}

// ---- The request

IVqDOMElement TVqEWSCall::AddId(const IVqDOMElement& AIds, const string& AElementName, const TItemId& AId) const {
  const IVqDOMElement id = AIds.AddElement(AElementName);
  id.SetAttribute("Id", AId.Id);
  if (WritesChangeKey()) id.SetAttribute("ChangeKey", AId.ChangeKey);
  return id;
}

void TVqEWSCall::AddLoadId(const IVqDOMElement& AIds, const string& AElementName, const TItemId& AId) const {
  AIds.AddElement(AElementName).SetAttribute("Id", AId.Id);
  if (WritesChangeKey()) AIds.AddElement("t:ChangeKey").SetAttribute("Id", AId.ChangeKey);
}

// ---- The exchange

IVqDOMElement TVqEWSCall::Send(const TVqSOAPResponseFactory& AFactory) {
  const IVqDOMElement message = SendUnchecked(AFactory);
  Check(message);
  return message;
}

IVqDOMElement TVqEWSCall::SendUnchecked(const TVqSOAPResponseFactory& AFactory) {
  Exchange(AFactory);
  return Select(MessagePath());
}

IVqDOMElement TVqEWSCall::SendAll() {
  const IVqDOMElement messages = SendAllUnchecked();
  for (const IVqDOMElement& message : messages.GetChildElements()) Check(message);
  return messages;
}

IVqDOMElement TVqEWSCall::SendAllUnchecked() {
  Exchange();
  return Messages();
}

IVqDOMElement TVqEWSCall::SendForItem(const TVqSOAPResponseFactory& AFactory) {
  return OnlyItem(Send(AFactory));
}

IVqDOMElement TVqEWSCall::SendForFolder() {
  return OnlyFolder(Send());
}

IVqDOMElement TVqEWSCall::Only(const IVqDOMElement& AMessage, const string& AKind) {
  const IVqDOMElement list = AMessage.SelectSingleElement(AKind + "s", kSelectRequired);
  if (list.ElementCount() != 1)
    throw EEWSException("Error" + AKind + "NotFound", "There was no " + AKind + "Id in the SOAP Response!", 0);
  return list.GetFirstChildElement();
}

IVqDOMElement TVqEWSCall::FindMade(const IVqDOMElement& AMessage, const string& APath) const {
  const IVqDOMElement made = AMessage.SelectSingleElement(APath, kSelectQuiet);
  if (!made.GetAttribute("Id").empty()) return made;
  throw EVqEWSIdNotTold(
      Format("There is no \"%s\" in \"%s\". %s was carried out: what it made is there, and its id is not known.",
             {made ? APath + "/@Id" : APath, AMessage.GetQualifiedName(), Stem()}));
}

// ---- The answer

void TVqEWSCall::Check(const IVqDOMElement& AMessage) const try {
  FSession.CheckResponseError(AMessage);
} catch (EVqException& failure) {
  if (EwsOnlyReads(FOperation.Name)) failure.NoteMayHaveHappened(false);
  throw;
}

string TVqEWSCall::Stem() const {
  const string name = FOperation.Name;
  return name.EndsWith(u"Request") ? name.Copy(0, name.Length() - 7) : name;
}

string TVqEWSCall::MessagesPath() const {
  if (FOperation.Path == TVqEWSAnswerPath::below) return "ResponseMessages";
  const char* body = FOperation.Path == TVqEWSAnswerPath::prefixed ? "/Envelope/Body/m:" : "/Envelope/Body/";
  const string response = body + Stem() + "Response";
  return FOperation.Path < TVqEWSAnswerPath::single ? response + "/ResponseMessages" : response;
}

string TVqEWSCall::MessagePath() const {
  if (FOperation.Path == TVqEWSAnswerPath::bare) return MessagesPath();
  return MessagesPath() + "/" + (FOperation.Path == TVqEWSAnswerPath::single ? string() : Stem()) + "ResponseMessage";
}

IVqDOMElement TVqEWSCall::Select(const string& APath) const try {
  if (FOperation.Path == TVqEWSAnswerPath::below)
    return FResponse->GetResponse().SelectSingleElement(APath, kSelectRequired);
  return FResponse->GetDocument().SelectSingleElement(APath, kSelectRequired);
} catch (const EVqXMLError& failure) {
  if (EwsOnlyReads(FOperation.Name)) throw;
  throw EVqEWSUnclearAnswer(Format("%s %s may have been carried out.", {failure.Message(), Stem()}));
}

IVqDOMElement TVqEWSCall::Find(const string& APath) const {
  return Select(MessagePath() + "/" + APath);
}

bool EwsOnlyReads(const string& AOperation) {
  static constexpr std::u16string_view kReading[] = {u"Get",    u"Find",   u"Resolve", u"Convert",
                                                     u"Expand", u"Search", u"Sync"};
  return std::ranges::any_of(kReading, [&](std::u16string_view verb) { return AOperation.view().starts_with(verb); });
}

TItemId EwsReadId(const IVqDOMElement& AElement) {
  return {AElement.GetAttribute("Id"), AElement.GetAttribute("ChangeKey")};
}

void EwsWriteId(const IVqDOMElement& AElement, const TItemId& AId) {
  AElement.SetAttribute("Id", AId.Id);
  AElement.SetAttribute("ChangeKey", AId.ChangeKey);
}

}  // namespace velmore
