#include "ews/model/internal/uVqEWSCall.h"

namespace velmore {

TVqEWSCall::TVqEWSCall(TVqEWSObject& AObject, const TVqEWSOperation& AOperation)
    : FSession(AObject.ActiveSession()),
      FOperation(AOperation),
      FRequest(AObject.CreateRequest(nullptr, string("m:") + AOperation.Name, AOperation.ResponseName)) {}

TVqEWSCall::TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation)
    : TVqEWSCall(ASession, AOperation,
                 ASession.CreateRequest(nullptr, string("m:") + AOperation.Name, AOperation.ResponseName)) {}

TVqEWSCall::TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation, TVqRef<IVqSOAPRequest> ARequest)
    : FSession(ASession), FOperation(AOperation), FRequest(std::move(ARequest)) {}

// ---- The request

void TVqEWSCall::AddId(const IVqDOMElement& AIds, const string& AElementName, const TItemId& AId) const {
  const IVqDOMElement id = AIds.AddElement(AElementName);
  id.SetAttribute("Id", AId.Id);
  if (WritesChangeKey()) id.SetAttribute("ChangeKey", AId.ChangeKey);
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
  FRequest->Send(FResponse, TVqSOAPSendKind::synchronous, AFactory);
  return Select(MessagePath());
}

IVqDOMElement TVqEWSCall::SendAll() {
  const IVqDOMElement messages = SendAllUnchecked();
  for (const IVqDOMElement& message : messages.GetChildElements()) Check(message);
  return messages;
}

IVqDOMElement TVqEWSCall::SendAllUnchecked() {
  FRequest->Send(FResponse);
  return Select(MessagesPath());
}

IVqDOMElement TVqEWSCall::SendForItem(const TVqSOAPResponseFactory& AFactory) {
  return SendForOnly("Item", AFactory);
}

IVqDOMElement TVqEWSCall::SendForFolder() {
  return SendForOnly("Folder", nullptr);
}

IVqDOMElement TVqEWSCall::SendForOnly(const string& AKind, const TVqSOAPResponseFactory& AFactory) {
  const IVqDOMElement list = Send(AFactory).SelectSingleElement(AKind + "s", kSelectRequired);
  if (list.ElementCount() != 1)
    throw EEWSException("Error" + AKind + "NotFound", "There was no " + AKind + "Id in the SOAP Response!", 0);
  return list.GetFirstChildElement();
}

TItemId TVqEWSCall::SendForId(const string& APath) {
  return EwsReadId(Send().SelectSingleElement(APath, kSelectRequired));
}

// ---- The answer

string TVqEWSCall::MessagesPath() const {
  if (FOperation.Path == TVqEWSAnswerPath::below) return "ResponseMessages";
  const char* body = FOperation.Path == TVqEWSAnswerPath::prefixed ? "/Envelope/Body/m:" : "/Envelope/Body/";
  const string response = string(body) + FOperation.Name + "Response";
  return FOperation.Path < TVqEWSAnswerPath::single ? response + "/ResponseMessages" : response;
}

string TVqEWSCall::MessagePath() const {
  if (FOperation.Path == TVqEWSAnswerPath::bare) return MessagesPath();
  return MessagesPath() + "/" + (FOperation.Path == TVqEWSAnswerPath::single ? "" : FOperation.Name) +
         "ResponseMessage";
}

IVqDOMElement TVqEWSCall::Select(const string& APath) const {
  if (FOperation.Path == TVqEWSAnswerPath::below)
    return FResponse->GetResponse().SelectSingleElement(APath, kSelectRequired);
  return FResponse->GetDocument().SelectSingleElement(APath, kSelectRequired);
}

IVqDOMElement TVqEWSCall::Find(const string& APath) const {
  return Select(MessagePath() + "/" + APath);
}

TItemId EwsReadId(const IVqDOMElement& AElement) {
  return {AElement.GetAttribute("Id"), AElement.GetAttribute("ChangeKey")};
}

void EwsWriteId(const IVqDOMElement& AElement, const TItemId& AId) {
  AElement.SetAttribute("Id", AId.Id);
  AElement.SetAttribute("ChangeKey", AId.ChangeKey);
}

}  // namespace velmore
