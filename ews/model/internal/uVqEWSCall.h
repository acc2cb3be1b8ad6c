#pragma once

/// One operation of the service, from its name to its checked answer. What an operation's function says is what is its
/// own: how its request is filled, and what it reads from the answer.
///
///     TVqEWSCall call(*this, "CopyItem");
///     call.AddId(call.Add("m:ToFolderId"), "t:FolderId", folder);
///     call.AddId(call.Add("m:ItemIds"), "t:ItemId", item);
///     return call.SendForId("//ItemId");

#include "ews/model/uVqEWSBase.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqEWSCall;  // named by a public header

/// Both parts of an id as an element's attributes: read, and written whatever the server's version.
TItemId EwsReadId(const IVqDOMElement& AElement);
void EwsWriteId(const IVqDOMElement& AElement, const TItemId& AId);

/// Whether an operation ("GetItem") leaves everything as it is, so that it may be repeated unseen.
bool EwsOnlyReads(const string& AOperation);

/// Whether a fault says that the request was not accepted as valid, so that nothing was carried out.
bool EwsSaysNotValid(const EVqSOAPFault& AFault);

/// Where the response messages of an operation stand, for "GetItem".
enum class TVqEWSAnswerPath {  // those with "ResponseMessages" first
  plain,                       ///< "/Envelope/Body/GetItemResponse/ResponseMessages/GetItemResponseMessage"
  prefixed,                    ///< the same with "m:GetItemResponse", as some operations have always looked for it
  below,                       ///< "ResponseMessages/GetItemResponseMessage" below the response, whatever its name
  single,  ///< "/Envelope/Body/GetItemResponse/ResponseMessage", for services older than response messages
  bare,    ///< "/Envelope/Body/GetItemResponse": the response is the message
};

/// What is to be known of an operation. Its name is enough for most.
struct TVqEWSOperation {
  const char* Name;  ///< "GetItem", without a prefix; "GetUserOofSettingsRequest" is answered without "Request"
  const char* ResponseName = "";  ///< "m:GetItemResponse" where the SOAP layer is told; empty for "the first one"
  TVqEWSAnswerPath Path = TVqEWSAnswerPath::plain;

  // NOLINTNEXTLINE(google-explicit-constructor): an operation reads like its name
  constexpr TVqEWSOperation(const char* AName, const char* AResponseName = "",
                            TVqEWSAnswerPath APath = TVqEWSAnswerPath::plain)
      : Name(AName), ResponseName(AResponseName), Path(APath) {}
};

/// The request of one operation and, once it was sent, its answer.
///
/// Owns: shares of the request and of the reply. Copy: none, it lives as long as one function. Threads: those of the
/// session. Raises: what composing raises before logon, what the exchange raises, EEWSException for a refusal,
/// EVqXMLError for a reply that lacks what is required of it, which is an EVqEWSUnclearAnswer where the operation
/// changes something.
class TVqEWSCall {
 public:
  /// A request in the name of an object: each of its creators may add to it. It goes out through the session's own
  /// client unless another one is given.
  TVqEWSCall(TVqEWSObject& AObject, const TVqEWSOperation& AOperation, TVqSOAPClient* AClient = nullptr);
  /// A request of the session's own.
  TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation);
  /// A request that is there already, to be sent as it stands.
  TVqEWSCall(IVqEWSSession& ASession, const TVqEWSOperation& AOperation, TVqRef<IVqSOAPRequest> ARequest);

  TVqEWSCall(const TVqEWSCall&) = delete;
  TVqEWSCall& operator=(const TVqEWSCall&) = delete;

  // ---- The request

  const TVqRef<IVqSOAPRequest>& Request() const noexcept { return FRequest; }
  /// The element of the operation.
  IVqDOMElement Method() const { return FRequest->GetMethod(); }
  /// Appends an element to it, or the steps of a path ("m:ItemShape/t:BaseShape") that are missing.
  IVqDOMElement Add(const string& APath) const { return Method().AddElement(APath); }
  /// Sets an attribute of it.
  void Set(const string& AName, const string& AValue) const { Method().SetAttribute(AName, AValue); }

  /// An id below a list of ids. Its change key goes along, as an attribute, where later servers than Exchange2013 are
  /// asked. Gives the new element.
  IVqDOMElement AddId(const IVqDOMElement& AIds, const string& AElementName, const TItemId& AId) const;
  /// The same for what is to be loaded: the change key stands in an element of its own, beside the id and under the
  /// attribute name "Id". Wanted as it stands; see uVqEWSWireForm.h for the other form.
  void AddLoadId(const IVqDOMElement& AIds, const string& AElementName, const TItemId& AId) const;

  // ---- The exchange. A factory makes the response of a reply that must not become a tree as a whole.

  /// Sends it and gives the response message, checked.
  IVqDOMElement Send(const TVqSOAPResponseFactory& AFactory = nullptr);
  /// The same, checked by the caller, or not at all.
  IVqDOMElement SendUnchecked(const TVqSOAPResponseFactory& AFactory = nullptr);
  /// Sends it and gives the element of all response messages, each checked in the order of the reply: the first refusal
  /// raises.
  IVqDOMElement SendAll();
  /// The same, checked by the caller one by one, or not at all.
  IVqDOMElement SendAllUnchecked();

  /// Sends it and reads nothing yet. The thread that the request's client belongs to may do this, whichever composed
  /// the request.
  void Exchange(const TVqSOAPResponseFactory& AFactory = nullptr) {
    FRequest->Send(FResponse, TVqSOAPSendKind::synchronous, AFactory);
  }
  /// The element of all response messages of an answer that is there.
  IVqDOMElement Messages() const { return Select(MessagesPath()); }

  /// Sends it and gives the only item, or folder, of the response message. Raises EEWSException "ErrorItemNotFound" or
  /// "ErrorFolderNotFound", and the text "There was no ItemId in the SOAP Response!", for any other number than one.
  IVqDOMElement SendForItem(const TVqSOAPResponseFactory& AFactory = nullptr);
  IVqDOMElement SendForFolder();
  /// The same for a message that is there and was checked.
  static IVqDOMElement OnlyItem(const IVqDOMElement& AMessage) { return Only(AMessage, "Item"); }
  static IVqDOMElement OnlyFolder(const IVqDOMElement& AMessage) { return Only(AMessage, "Folder"); }
  /// Sends it and gives the element that tells what was made ("//ItemId"), or the id in it. Raises EVqEWSIdNotTold when
  /// the answer lacks it.
  IVqDOMElement SendForMade(const string& APath) { return FindMade(Send(), APath); }
  /// The same for an answer that is there and was checked.
  IVqDOMElement FindMade(const IVqDOMElement& AMessage, const string& APath) const;
  TItemId SendForId(const string& APath) { return EwsReadId(SendForMade(APath)); }

  // ---- The answer

  /// Raises EEWSException when a response message is no success.
  void Check(const IVqDOMElement& AMessage) const;
  /// An element that the response message must have, looked for, and missed, by its whole path.
  IVqDOMElement Find(const string& APath) const;
  /// The reply; empty until it came.
  const TVqRef<IVqSOAPResponse>& Response() const noexcept { return FResponse; }

 private:
  bool WritesChangeKey() const { return FSession.GetServerVersion() > Exchange2013; }
  string Stem() const;
  string MessagesPath() const;
  string MessagePath() const;
  IVqDOMElement Select(const string& APath) const;
  static IVqDOMElement Only(const IVqDOMElement& AMessage, const string& AKind);

  IVqEWSSession& FSession;
  TVqEWSOperation FOperation;
  TVqRef<IVqSOAPRequest> FRequest;
  TVqRef<IVqSOAPResponse> FResponse;
};

}  // namespace velmore

#pragma GCC visibility pop
