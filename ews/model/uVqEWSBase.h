#pragma once

/// The two roots of the object world: the abstract session that server-side objects see, and the base of every server-side object.

#include <map>

#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {

/// The session as far as server-side objects are concerned.
///
/// Owns the time-zone table, the exchange cookie and the access token. No copies. One thread at a time. See each operation for what it raises.
class TVqEWSBaseSession : public TVqComponent, public virtual IVqEWSSession {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSBaseSession(TVqComponent* AOwner);

  // The order of these operations differs from the interface's (which puts the service URL first) and stays so.
  TVqCredentials& GetCredentials() override = 0;
  string GetServiceURL() override = 0;
  TServerVersion GetServerVersion() override = 0;
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession) override = 0;
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) override = 0;
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override = 0;
  /// Stores the value of the last "exchangecookie" seen on a response.
  virtual void SetExchangeCookie(const string& AValue);
  /// Stores a copy of the token.
  virtual void SetAccessToken(const TVqOAuthAccessToken& AValue);
  void CheckResponseError(const IVqDOMElement& AElement) override = 0;

  /// Whether requests are brought into the form that the published schema has.
  virtual bool GetStrictSchema() const { return false; }

  /// What binds the session to one server of a farm; empty before the first reply that brought it.
  const string& GetExchangeCookie() const noexcept { return FExchangeCookie; }
  /// The token of the last logon with OAuth.
  const TVqOAuthAccessToken& GetAccessToken() const noexcept { return FAccessToken; }

  /// The table of Windows time zones, in its own order.
  std::int32_t TimezoneCount() const;
  /// The id at a position. Raises EListError outside.
  string GetTimezoneId(std::int32_t AIndex) const;
  /// Minutes east of UTC, without daylight saving. Raises EEWSException "The specified TimezoneId is not valid!".
  std::int32_t GetTimezoneOffset(const string& ATimezoneId) const;

 private:
  string FExchangeCookie;
  TVqOAuthAccessToken FAccessToken;
};

/// Base of everything that stands for something on the server.
///
/// Owns its id, and with `AKeepCreatorAlive` a reference on its creator; lives by its reference count and is made by MakeRef. One thread at a time.
/// The session is found once, along the chain of creators; when it goes away the object lives on, and whatever needs the server raises "There is no
/// active EWS Session!".
class TVqEWSObject : public TVqComponent, public virtual IVqEWSObject {
 public:
  /// `ACreator` is the session or another server-side object. Raises "Failed to find the EWS Session!" when the chain leads to none. A creator that
  /// is not kept alive must be kept by the application for as long as requests are made through this object; one that went away is noticed and
  /// raises a plain exception.
  TVqEWSObject(TVqComponent* ACreator, bool AKeepCreatorAlive);

  /// A framed request; goes outward along the creators to the session, and each may add to it. Raises as
  /// IVqEWSSession::CreateRequest, and when the session is gone.
  virtual TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                               const string& AResponseName);
  TItemId GetID() override { return FID; }
  /// Sets the id that GetID gives. Asks nothing of the server.
  virtual void SetId(const TItemId& AId) { FID = AId; }

  TVqComponent* GetCreatedBy() override { return FCreatedBy; }
  /// The session, or none when it is gone.
  TVqEWSBaseSession* GetSession() const noexcept { return FSession; }
  /// The same; raises "There is no active EWS Session!" when it is gone.
  TVqEWSBaseSession& ActiveSession() const;

  /// These three ask the session, and raise "There is no active EWS Session!" when it is gone.
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession);
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient);
  void CheckResponseError(const IVqDOMElement& AElement);

 protected:
  ~TVqEWSObject() override;

  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;

 private:
  TVqComponent* FCreatedBy;
  TItemId FID;
  TVqEWSBaseSession* FSession = nullptr;
  bool FKeepCreatorAlive;
};

/// The session as one object sees it: requests go along the object's chain of creators, so that an impersonating store can add its header. Outlives the
/// object; raises a plain exception then.
class TVqEWSObjectSession : public TVqObject, public virtual IVqEWSSession {
 public:
  /// `AObject` is looked at until Forget.
  explicit TVqEWSObjectSession(TVqEWSObject& AObject) : FObject(&AObject) {}
  /// To be called before the object goes.
  void Forget() noexcept { FObject = nullptr; }

  string GetServiceURL() override { return Session().GetServiceURL(); }
  TVqCredentials& GetCredentials() override { return Session().GetCredentials(); }
  TServerVersion GetServerVersion() override { return Session().GetServerVersion(); }
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession) override { return Object().CreateHTTPClient(AUseSession); }
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) override {
    return Object().CreateSOAPClient(AHTTPClient);
  }
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override {
    return Object().CreateRequest(ASOAPClient, AMethod, AResponseName);
  }
  void CheckResponseError(const IVqDOMElement& AElement) override { Object().CheckResponseError(AElement); }

 private:
  TVqEWSObject& Object() const;
  TVqEWSBaseSession& Session() const;

  TVqEWSObject* FObject;
};

}  // namespace velmore
