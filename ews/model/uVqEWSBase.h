#pragma once

/// The two roots of the object world: the abstract session that server-side objects see, and the base of every
/// server-side object. After them, the base of those objects that hold data: two trees, the one that the application
/// edits and the one as loaded, and the properties that compare them.

#include <map>
#include <memory>
#include <stop_token>

#include "ews/model/uVqEWSInterfaces.h"
#include "ews/values/uVqEWSProperties.h"

namespace velmore {

/// The session as far as server-side objects are concerned.
///
/// Owns the time-zone table, the exchange cookie and the access token. No copies. One thread at a time. See each
/// operation for what it raises.
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

  /// Whether the application wants requests in the form that the published schema has.
  virtual bool GetStrictSchema() const { return false; }
  /// The form that requests have now: the schema's where the application wants it, or where the server was found to
  /// want it.
  virtual TVqEWSWireForm GetWireForm() const {
    return GetStrictSchema() ? TVqEWSWireForm::schema : TVqEWSWireForm::own;
  }
  /// Whether requests are left out whose answer nobody has read yet: see TVqEWSCustomSession::GetLeanRoundTrips.
  virtual bool GetLeanRoundTrips() const { return false; }
  /// Whether a save moves pictures that an HTML body names by "file:" into attachments.
  virtual bool GetLocalImages() const { return true; }

  /// The address that the session's own user is likely to have, without asking anybody; empty when nothing tells one.
  virtual string GetOwnAddress() { return {}; }

  /// The stop token of the session's own client; see TVqEWSCustomSession::SetStopToken.
  virtual std::stop_token GetStopToken() const { return {}; }
  /// For operations of several requests, which end by the session's Cancel as a whole, waits between requests included:
  /// from the first call to the second, Cancel asks this source for a stop. Nothing here.
  virtual void BeginOperation(const std::stop_source&) {}
  virtual void EndOperation(const std::stop_source&) noexcept {}
  /// A client for an operation that works with several at a time: as CreateHTTPClient gives it on the session's
  /// connections, with the session's time-outs.
  virtual TVqRef<IVqHTTPClient> CreateWorkingClient() { return CreateHTTPClient(true); }
  /// To be called on the session's thread with what such a client is to send: brings it what the session's own client
  /// asks the server for before a request of its kind. Nothing here.
  virtual void SettleRequest(IVqSOAPRequest&) {}

  /// What binds the session to one server of a farm; empty until a reply brings it.
  const string& GetExchangeCookie() const noexcept { return FExchangeCookie; }
  /// The token of the last logon with OAuth.
  const TVqOAuthAccessToken& GetAccessToken() const noexcept { return FAccessToken; }

  /// Number of time zones in the dictionary of Windows time zones.
  std::int32_t TimezoneCount() const noexcept { return static_cast<std::int32_t>(FEWSTimeZones.size()); }
  /// The id at a position of the dictionary, which is in the order of the ids. Raises EListError for a position that
  /// does not exist.
  string GetTimezoneId(std::int32_t AIndex) const;
  /// Minutes east of UTC, without daylight saving. Raises EEWSException "The specified TimezoneId is not valid!".
  std::int32_t GetTimezoneOffset(const string& ATimezoneId) const;

 private:
  const std::map<string, string> FEWSTimeZones;  // the offset by the id: "(UTC+01:00)"
  string FExchangeCookie;
  TVqOAuthAccessToken FAccessToken;
};

/// Base of everything that stands for something on the server.
///
/// Owns its id, and with `AKeepCreatorAlive` a reference to its creator; lives by its reference count and is made by
/// MakeRef. One thread at a time. The session is found once, along the chain of creators; when it goes away the object
/// lives on, and whatever needs the server raises "There is no active EWS Session!".
class TVqEWSObject : public TVqComponent, public virtual IVqEWSObject {
 public:
  /// `ACreator` is the session or another server-side object. Raises "Failed to find the EWS Session!" when the chain
  /// leads to none. A creator that is not kept alive must be kept by the application for as long as requests are made
  /// through this object; when it has gone away, that is noticed and a plain exception is raised.
  TVqEWSObject(TVqComponent* ACreator, bool AKeepCreatorAlive);

  /// A framed request. The call goes along the creators to the session, and each may add to the request. Raises as
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

/// The session as one object sees it: requests go along the object's chain of creators, so that an impersonating store
/// can add its header. May outlive the object; raises a plain exception then.
class TVqEWSObjectSession : public TVqObject, public virtual IVqEWSSession {
 public:
  /// `AObject` is used until Forget is called.
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

/// The part of TVqEWSPropObject<T> that is the same for every record type.
///
/// Owns both records, the document of the second and the property list. The copy behind the second record is made for
/// the first comparison, or right before the first change. Lives by its reference count (see TVqEWSObject). One thread
/// at a time. Reading a property may ask the server and raise.
class TVqEWSPropObjectCore : public TVqEWSObject, public virtual IVqEWSPropObject, public IVqEWSFieldSource {
 public:
  TVqEWSProperties& GetProperties() override { return *FProps; }
  void DisplayProperties() override;
  TVqEWSProperty& PropertyByName(const TVqEWSPropDef& APropDef) override;
  bool HasProperty(const TVqEWSPropDef& APropDef) override;
  /// Marks an existing property for deletion by the next save.
  void DeleteProperty(const TVqEWSPropDef& APropDef);

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  /// See TVqEWSObject. `ARecordClass` makes both records.
  TVqEWSPropObjectCore(TVqComponent* ACreator, bool AKeepCreatorAlive, const TVqXMLSchemaClass& ARecordClass);
  ~TVqEWSPropObjectCore() override;

  /// Makes both records anew: the current one over `AElement`, the one as loaded over a copy. Explicit statuses of
  /// properties are forgotten; what getters handed out before raises from now on.
  virtual void SetPropData(const IVqDOMElement& AElement);
  /// The same over the part of the data that is known without asking. `ALoad` brings the whole, by SetPropData: it is
  /// called when a record or a property is asked for, again after each failure, and not at all when nobody asks.
  void SetPartOfPropData(const IVqDOMElement& APart, std::function<void()> ALoad);

  /// The current record, and the one as loaded, whole. Raise a plain exception before the first SetPropData, and what
  /// the load of a part raises.
  TVqXMLSchemaElement& NewRecord() const;
  TVqXMLSchemaElement& OldRecord() const;

  /// Whether a part is all that is known.
  bool IsPart() const noexcept { return static_cast<bool>(FLoad); }
  /// The two records as they are, be it of a part. Ask nobody.
  TVqXMLSchemaElement& KnownRecord() const;
  TVqXMLSchemaElement& KnownOldRecord() const;
  /// While it lives, properties look at the part where there is one.
  class TPartIsEnough {
   public:
    /// Begins that time; they may be nested.
    explicit TPartIsEnough(TVqEWSPropObjectCore& AObject) noexcept : FObject(AObject), FFormer(AObject.FPartIsEnough) {
      FObject.FPartIsEnough = true;
    }
    ~TPartIsEnough() { FObject.FPartIsEnough = FFormer; }
    TPartIsEnough(const TPartIsEnough&) = delete;
    TPartIsEnough& operator=(const TPartIsEnough&) = delete;

   private:
    TVqEWSPropObjectCore& FObject;
    const bool FFormer;
  };

 private:
  void UseElement(const IVqDOMElement& AElement);
  void MakeWhole() const;
  void MakeOldRecord() const;
  void ForgetDocument() noexcept;

  const TVqXMLSchemaClass& FRecordClass;
  // Those of earlier loads: whoever holds a record of theirs gets an exception instead of freed memory.
  std::vector<std::unique_ptr<TVqXMLSchemaElement>> FFormerRecords;
  mutable IVqDOMDocument FOldPropData;
  std::unique_ptr<TVqXMLSchemaElement> FEWSOBJECT_NEW;
  mutable std::unique_ptr<TVqXMLSchemaElement> FEWSOBJECT_OLD;  // made late
  std::function<void()> FLoad;                                  // brings the whole, where a part is all that is known
  bool FPartIsEnough = false;
  std::unique_ptr<TVqEWSProperties> FProps;  // last: it looks at the records
};

/// An object with a record of type T.
template <typename T>
class TVqEWSPropObject : public TVqEWSPropObjectCore {
 protected:
  /// See TVqEWSObject.
  TVqEWSPropObject(TVqComponent* ACreator, bool AKeepCreatorAlive)
      : TVqEWSPropObjectCore(ACreator, AKeepCreatorAlive, T::SchemaClass()) {}
  ~TVqEWSPropObject() override = default;

  /// The current record, and the one as loaded, as a T.
  T& NewData() const { return static_cast<T&>(NewRecord()); }
  T& OldData() const { return static_cast<T&>(OldRecord()); }
};

/// Shows an object's properties. Installed by a user-interface layer, once for the process; empty by default.
using TVqEWSDisplayProperties = std::function<void(IVqEWSPropObject& AObject)>;
extern TVqEWSDisplayProperties VqOnDisplayProperties;

}  // namespace velmore
