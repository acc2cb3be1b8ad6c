#pragma once

/// The two forms of requests. The library's own forms are kept to the letter and are sent first; where they depart from
/// the schema that servers publish, requests are brought into the schema's form when the application wants it
/// (StrictSchema) or a server refuses the other one (SchemaFallback). Every departure is in this module, one function
/// each, and so is the change from one form to the other; callers compose the library's own form and do not branch.

#include <atomic>
#include <optional>

#include "ews/model/uVqEWSBase.h"

namespace velmore {

class TVqEWSCall;

/// Which form a session's requests have, and how the session finds the one that its server takes.
///
/// Owns nothing. Copy: none. Threads: clients of other threads send through it, too; what one of them learns holds for
/// all. Raises what an exchange raises.
class TVqEWSWireForms {
 public:
  /// Whether requests have the schema's form from the first one on.
  bool GetStrictSchema() const noexcept { return FStrictSchema; }
  void SetStrictSchema(bool AValue) noexcept { FStrictSchema = AValue; }
  /// Whether a request whose form a server refuses is sent again in the schema's form. On at first.
  bool GetSchemaFallback() const noexcept { return FSchemaFallback; }
  void SetSchemaFallback(bool AValue) noexcept { FSchemaFallback = AValue; }
  /// The form of the next request.
  TVqEWSWireForm GetForm() const noexcept {
    return FStrictSchema || FLearnt ? TVqEWSWireForm::schema : TVqEWSWireForm::own;
  }
  /// To be called when another server may answer.
  void Forget() noexcept { FLearnt = false; }

  /// Sends a message in the form that holds at that time: `AExchange` writes the message as it then stands and fills
  /// `AResponse`, or raises.
  ///
  /// A server that refuses the library's own form has carried nothing out: the message is brought into the schema's
  /// form and sent once more, and if the server takes it, the session stays with that form. A request that only reads
  /// is tried again after any fault that is not about load, access or identity; one that changes something, only after
  /// a refusal which says that it was not accepted as valid. A message that is the same in both forms is not repeated.
  /// When the second form is refused, too, the outcome is that of the first.
  void Send(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse, const std::function<void()>& AExchange);

 private:
  void SendOther(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse, const std::function<void()>& AExchange,
                 const std::function<void()>& AGiveUp);

  std::atomic<bool> FStrictSchema = false;
  std::atomic<bool> FSchemaFallback = true;
  std::atomic<bool> FLearnt = false;
};

/// Brings a composed request into the form of the published schema, just before it is sent.
void EwsToStrictSchema(IVqSOAPRequest& ARequest);

/// Sends an update with these `t:Updates` and gives the id from the answer. An update without changes is sent, too, but
/// not in the schema's form, which cannot express it: then there is no id.
std::optional<TItemId> EwsSendUpdate(const TVqEWSBaseSession& ASession, TVqEWSCall& ACall,
                                     const IVqDOMElement& AUpdates);

/// Whether the library escapes the values of restrictions: by default they stand between quotes as they are; with
/// StrictSchema the application has chosen that they are text. What a session has learnt of its server plays no part,
/// so that a value means the same throughout.
bool EwsEscapesValues(const TVqEWSObject& ARestriction);

}  // namespace velmore
