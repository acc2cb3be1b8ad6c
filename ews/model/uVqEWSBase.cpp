#include "ews/model/uVqEWSBase.h"

#include <iterator>

#include "ews/model/uVqEWSTimeZones.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {

TVqEWSBaseSession::TVqEWSBaseSession(TVqComponent* AOwner)
    : TVqComponent(AOwner), FEWSTimeZones(EwsTimeZoneDictionary()) {}

string TVqEWSBaseSession::GetTimezoneId(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= TimezoneCount())
    throw EListError("There is no time zone at position " + IntToStr(AIndex) + ".");
  return std::next(FEWSTimeZones.begin(), AIndex)->first;
}

std::int32_t TVqEWSBaseSession::GetTimezoneOffset(const string& ATimezoneId) const {
  const auto zone = FEWSTimeZones.find(ATimezoneId);
  if (zone == FEWSTimeZones.end()) throw EEWSException("The specified TimezoneId is not valid!");
  return EwsOffsetMinutes(zone->second);
}

void TVqEWSBaseSession::SetExchangeCookie(const string& AValue) {
  FExchangeCookie = AValue;
}

void TVqEWSBaseSession::SetAccessToken(const TVqOAuthAccessToken& AValue) {
  FAccessToken = AValue;
}

TVqEWSObject::TVqEWSObject(TVqComponent* ACreator, bool AKeepCreatorAlive)
    : TVqComponent(nullptr), FCreatedBy(ACreator), FKeepCreatorAlive(false) {
  SetAutoDestroy(true);
  for (TVqComponent* link = ACreator; !FSession;) {
    if (auto* session = dynamic_cast<TVqEWSBaseSession*>(link)) {
      FSession = session;
    } else if (auto* object = dynamic_cast<TVqEWSObject*>(link)) {
      link = object->FCreatedBy;
    } else {
      throw EVqException("Failed to find the EWS Session!").NoteSessionUnusable();
    }
  }
  if (AKeepCreatorAlive && dynamic_cast<TVqEWSObject*>(ACreator)) {
    ACreator->_AddRef();
    FKeepCreatorAlive = true;
  }
  FSession->FreeNotification(this);
  ACreator->FreeNotification(this);
}

TVqEWSObject::~TVqEWSObject() {
  if (FKeepCreatorAlive) FCreatedBy->_Release();
}

TVqRef<IVqSOAPRequest> TVqEWSObject::CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                                   const string& AResponseName) {
  if (auto* creator = dynamic_cast<TVqEWSObject*>(FCreatedBy))
    return creator->CreateRequest(ASOAPClient, AMethod, AResponseName);
  if (!FSession) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  if (!FCreatedBy) throw EVqException("The object that made this one is gone.");
  return FSession->CreateRequest(ASOAPClient, AMethod, AResponseName);
}

TVqRef<IVqHTTPClient> TVqEWSObject::CreateHTTPClient(bool AUseSession) {
  return ActiveSession().CreateHTTPClient(AUseSession);
}

TVqSOAPClient* TVqEWSObject::CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) {
  return ActiveSession().CreateSOAPClient(AHTTPClient);
}

void TVqEWSObject::CheckResponseError(const IVqDOMElement& AElement) {
  ActiveSession().CheckResponseError(AElement);
}

void TVqEWSObject::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqComponent::Notification(AComponent, AOperation);
  if (AOperation != TVqOperation::opRemove) return;
  if (AComponent == FSession) FSession = nullptr;
  if (AComponent == FCreatedBy) FCreatedBy = nullptr;
}

TVqEWSBaseSession& TVqEWSObject::ActiveSession() const {
  if (!FSession) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  return *FSession;
}

TVqEWSObject& TVqEWSObjectSession::Object() const {
  if (!FObject) throw EVqException("The object is gone.");
  return *FObject;
}

TVqEWSBaseSession& TVqEWSObjectSession::Session() const {
  TVqEWSBaseSession* session = Object().GetSession();
  if (!session) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  return *session;
}

}  // namespace velmore
