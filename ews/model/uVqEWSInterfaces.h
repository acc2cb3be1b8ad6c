#pragma once

/// What all server-side objects have in common: ids, failures, the session and the common interfaces. The interfaces of
/// items are in uVqEWSItemInterfaces.h, those of stores, folders and tables in uVqEWSFolderInterfaces.h, those of
/// recipients in uVqEWSRecipients.h. The result of a search for a name comes with this header.
///
/// What the interfaces of all these headers have in common, unless one says otherwise:
/// - Owns: its data; what a getter gives by reference belongs to the object. An object keeps alive what it was reached
///   through, except for the session.
/// - Copy: none; holding one more TVqRef costs one atomic increment.
/// - Threads: one at a time, for the session and everything reached through it together.
/// - Raises: EEWSException for a refusal, the exceptions of the transport, and plain exceptions for misuse and once the
///   session is gone. docs/errors.md tells all of them.

#include "ews/model/uVqEWSResolution.h"
#include "ews/schema/uVqEWSTypes.h"
#include "platform/common/uVqClasses.h"
#include "platform/http/uVqHTTPBase.h"
#include "platform/soap/uVqSOAPTypes.h"

namespace velmore {

class TVqSOAPClient;
class TVqEWSProperties;
class TVqEWSProperty;
struct TVqEWSPropDef;

/// Names an item or a folder on the server: the opaque id, and the version stamp of the object at the time when it was
/// read.
struct TItemId {
  /// The opaque id; empty for an object that the server does not know yet.
  string Id;
  /// The version stamp; it changes with every write. May be empty where an object is only named, not changed.
  string ChangeKey;

  /// Equal when both texts are: the same object in the same version. Ordered by the id, then by the version stamp.
  friend bool operator==(const TItemId&, const TItemId&) = default;
  friend std::strong_ordering operator<=>(const TItemId&, const TItemId&) = default;

  /// Takes both texts from a record's attributes.
  void Assign(const TEwsItemId& ASource);
  void Assign(const TEwsFolderId& ASource);
};

/// A refusal by the server, or a reply that is not what was asked for.
///
/// Callers pass the short code first and the human text second, so `Message()` reads like "ErrorItemNotFound (There was
/// no ItemId in the SOAP Response!)." and `EWSErrorCode()` holds the human text, whatever its name says. A few callers
/// do it the other way round. Code that looks for a certain refusal therefore tests both.
class EEWSException : public EVqException {
 public:
  /// One trailing "." of `AMsg` is dropped (never one of the code); the message becomes `AMsg (AEWSErrorCode).`
  EEWSException(const string& AMsg, const string& AEWSErrorCode, std::uint32_t AHTTPErrorCode);
  /// `AMsg` as it stands, no code.
  explicit EEWSException(const string& AMsg, std::uint32_t AHTTPErrorCode = 0);

  /// As the first constructor, but the text built from the two is a format (see velmore::Format).
  static EEWSException CreateFmt(const string& AMsg, const std::vector<TVqFormatArg>& AArgs, const string& AErrorCode);
  /// The formatted text as it stands, with a number.
  static EEWSException CreateFmt(const string& AMsg, const std::vector<TVqFormatArg>& AArgs, std::uint32_t AErrorCode);

  /// The second text given to the constructor.
  const string& EWSErrorCode() const noexcept { return FEWSErrorCode; }
  /// An HTTP status or a transport error number; 0 when there is none.
  std::uint32_t HTTPErrorCode() const noexcept { return FHTTPErrorCode; }
  /// The code of the refusal, whichever of the two texts it was given as.
  const string& ResponseCode() const noexcept override { return FResponseCode; }
  /// HTTPErrorCode where that is a status.
  std::int32_t HTTPStatus() const noexcept override { return VqHTTPStatusOf(FHTTPErrorCode); }

 protected:
  bool LeavesOpen() const noexcept override { return VqSOAPLeavesOpen(FResponseCode); }
  bool LeavesSessionUsable() const noexcept override { return VqSOAPLeavesSessionUsable(FResponseCode); }

 private:
  string FEWSErrorCode;
  string FResponseCode;
  std::uint32_t FHTTPErrorCode;
};

/// A refusal with the code "ErrorServerBusy".
class EEWSServerBusy : public EEWSException, public EVqServerBusy {
 public:
  /// `ARetryAfter` in milliseconds, 0 when the server did not say.
  EEWSServerBusy(const string& AMsg, const string& AEWSErrorCode, std::int32_t ARetryAfter)
      : EEWSException(AMsg, AEWSErrorCode, 0), EVqServerBusy(ARetryAfter) {}
  /// This exception.
  const EVqException& Failure() const noexcept override { return *this; }
  std::chrono::milliseconds RetryAfter() const noexcept override { return std::chrono::milliseconds(GetRetryAfter()); }
};

/// A request that changes something got a reply that is not its answer. The request may have been carried out: look
/// before repeating it.
class EVqEWSUnclearAnswer : public EVqXMLError {
 public:
  /// The text says what the reply lacks, and what that means.
  explicit EVqEWSUnclearAnswer(const string& AMessage) : EVqXMLError(AMessage, 0, 0) {}

 protected:
  bool LeavesOpen() const noexcept override { return true; }
};

/// A request was carried out, and its answer does not tell the id of what it made, such as a copy in another mailbox.
/// Repeating the request makes another one.
class EVqEWSIdNotTold : public EVqEWSUnclearAnswer {
 public:
  using EVqEWSUnclearAnswer::EVqEWSUnclearAnswer;
};

/// Which form requests have: the library's own, or that of the schema which servers publish. See uVqEWSWireForm.h.
enum class TVqEWSWireForm { own, schema };

/// The general version guard, for when `AActual` is older than `ARequired`. Raises a plain exception with the text
/// `"<feature>" is not supported by <actual>. This feature requires Exchange <required>!`
void EwsCheckVersion(TServerVersion ARequired, TServerVersion AActual, const string& AFeature);

/// The session as server-side objects see it. One thread at a time; nothing is locked.
class IVqEWSSession : public virtual IVqObject {
 public:
  /// The endpoint in use.
  virtual string GetServiceURL() = 0;
  /// Owned by the session.
  virtual TVqCredentials& GetCredentials() = 0;
  /// Raises a plain exception before logon.
  virtual TServerVersion GetServerVersion() = 0;
  /// A new, separate client with the session's settings; `AUseSession` shares its connections.
  virtual TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession) = 0;
  /// A new SOAP client on `AHTTPClient`, owned by the session.
  virtual TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) = 0;
  /// A framed request on `ASOAPClient`, or on the session's own client when that is null. Raises
  /// "You must logon first!".
  virtual TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                               const string& AResponseName) = 0;
  /// Raises EEWSException unless the response message says "Success".
  virtual void CheckResponseError(const IVqDOMElement& AElement) = 0;

 protected:
  ~IVqEWSSession() = default;
};

/// Anything that stands for something on the server.
class IVqEWSObject : public virtual IVqObject {
 public:
  /// The server id; empty for an object that the server does not know yet.
  virtual TItemId GetID() = 0;
  /// The object or session that made this one. Not reference-counted: see TVqEWSObject about its life.
  virtual TVqComponent* GetCreatedBy() = 0;

 protected:
  ~IVqEWSObject() = default;
};

/// An object with properties: folders and items.
class IVqEWSPropObject : public virtual IVqEWSObject {
 public:
  /// Owned by the object. Reading a property may ask the server.
  virtual TVqEWSProperties& GetProperties() = 0;
  /// Hands the object to the dialog that a user-interface layer installed; raises a plain exception when none is
  /// installed.
  virtual void DisplayProperties() = 0;
  /// The property of that definition, made when it is missing; may ask the server. Owned by the list, valid until the
  /// list is rebuilt.
  virtual TVqEWSProperty& PropertyByName(const TVqEWSPropDef& APropDef) = 0;
  /// Whether the object has such a property. For a member of the schema, that means that the object's record knows the
  /// member, present or not; for an extended property, the server may be asked.
  virtual bool HasProperty(const TVqEWSPropDef& APropDef) = 0;

 protected:
  ~IVqEWSPropObject() = default;
};

}  // namespace velmore

/// Hash of ids, for unordered containers.
template <>
struct std::hash<velmore::TItemId> {
  /// Equal ids have equal numbers, and so have the versions of one object.
  std::size_t operator()(const velmore::TItemId& id) const noexcept { return std::hash<velmore::TVqString>()(id.Id); }
};
