// How a session goes over from the library's own form of requests to the schema's.

#include "ews/model/uVqEWSWireForm.h"

#include <algorithm>
#include <span>

#include "ews/model/internal/uVqEWSCall.h"

namespace velmore {
namespace {

constexpr const char* kNotValid = "ErrorSchemaValidation";

// What validators and parsers say. Servers other than Exchange have no code for it: they blame the client, in such
// words.
constexpr const char* kOfValidators[] = {"schema",
                                         "proper type for node",
                                         "invalid child element",
                                         "unexpected element",
                                         "unexpected child",
                                         "is not expected",
                                         "unexpected attribute",
                                         "unknown element",
                                         "validation constraint",
                                         "cvc-",
                                         "deserializ",
                                         "unmarshal"};

// In codes about load, access or identity: another form of the request changes nothing about those.
constexpr const char* kOfTheCaller[] = {
    "busy",   "timeout",     "exceeded", "unavailable", "transient", "insufficientresources", "toomany",
    "denied", "imperson",    "logon",    "password",    "account",   "connectionfailed",      "overbudget",
    "token",  "permission",  "policy",   "authoriz",    "sid",       "nonexistentmailbox",    "mailboxmove",
    "smtp",   "emailaddress"};

bool HasOneOf(const string& text, std::span<const char* const> words) {
  const string lower = LowerCase(text);
  return std::ranges::any_of(words, [&](const char* word) { return lower.Contains(word); });
}

/// Faults have their code in a detail, in the code of the fault ("a:ErrorSchemaValidation"), or nowhere.
string CodeOf(const EVqSOAPFault& fault) {
  if (!fault.ResponseCode().empty()) return fault.ResponseCode();
  return fault.FaultCode().Copy(fault.FaultCode().Pos(u":") == string::npos ? 0 : fault.FaultCode().Pos(u":") + 1);
}

bool IsOfTheCaller(const EVqSOAPFault& fault) {
  return dynamic_cast<const EVqServerBusy*>(&fault) || HasOneOf(CodeOf(fault), kOfTheCaller);
}

bool RefusesTheForm(const string& operation, const EVqSOAPFault& fault) {
  if (EwsSaysNotValid(fault)) return true;
  return EwsOnlyReads(operation) && !IsOfTheCaller(fault);
}

/// The same as the code of every response message, which some servers answer with in place of a fault.
bool RefusesTheForm(IVqSOAPResponse& response) {
  const IVqDOMElement messages =
      response.GetBody().GetFirstChildElement().SelectSingleElement("ResponseMessages", kSelectQuiet);
  if (!messages.HasChildElements()) return false;
  for (const IVqDOMElement& message : messages.GetChildElements()) {
    if (message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText() != kNotValid) return false;
  }
  return true;
}

/// The schema has no form for an update without changes.
bool IsEmptyUpdate(const IVqDOMElement& method) {
  if (method.GetLocalName() != "UpdateItem") return false;
  const IVqDOMElement updates = method.SelectSingleElement("ItemChanges/ItemChange/Updates", kSelectQuiet);
  return updates && !updates.HasChildElements();
}

[[noreturn]] void RaiseWithRemedy(const EVqSOAPFault& fault) {
  throw EVqSOAPFault(
      fault.Message() + " The session's SchemaFallback, or StrictSchema, sends the form that servers publish.",
      fault.FaultCode(), fault.FaultString(), fault.ResponseCode(), fault.Detail(), fault.BackOffMilliseconds(),
      fault.HTTPStatus());
}

}  // namespace

bool EwsSaysNotValid(const EVqSOAPFault& AFault) {
  if (CodeOf(AFault) == kNotValid) return true;
  static constexpr const char* kClient[] = {"client", "sender"};
  return HasOneOf(AFault.FaultCode(), kClient) && HasOneOf(AFault.FaultString(), kOfValidators);
}

void TVqEWSWireForms::Send(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse,
                           const std::function<void()>& AExchange) {
  if (GetForm() == TVqEWSWireForm::schema) {
    EwsToStrictSchema(ARequest);
    return AExchange();
  }
  try {
    AExchange();
  } catch (const EVqSOAPFault& fault) {
    if (!FSchemaFallback && EwsSaysNotValid(fault)) RaiseWithRemedy(fault);
    if (!FSchemaFallback || !RefusesTheForm(ARequest.GetMethod().GetLocalName(), fault)) throw;
    const std::exception_ptr first = std::current_exception();
    return SendOther(ARequest, AResponse, AExchange, [&] { std::rethrow_exception(first); });
  }
  if (!FSchemaFallback || !RefusesTheForm(*AResponse)) return;
  const TVqRef<IVqSOAPResponse> first = AResponse;
  SendOther(ARequest, AResponse, AExchange, [&] { AResponse = first; });
}

void TVqEWSWireForms::SendOther(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse,
                                const std::function<void()>& AExchange, const std::function<void()>& AGiveUp) {
  if (IsEmptyUpdate(ARequest.GetMethod())) {
    FLearnt = true;
    return AGiveUp();
  }
  const std::string own = ARequest.GetDocument().GetXMLAsUtf8();
  try {
    EwsToStrictSchema(ARequest);
  } catch (const EVqException&) {
    return AGiveUp();  // it has no valid form at all
  }
  if (ARequest.GetDocument().GetXMLAsUtf8() == own) return AGiveUp();
  bool refused = false;
  try {
    AExchange();
    refused = RefusesTheForm(*AResponse);
  } catch (const EVqSOAPFault& fault) {
    if (!RefusesTheForm(ARequest.GetMethod().GetLocalName(), fault)) throw;
    refused = true;
  }
  if (refused) return AGiveUp();
  FLearnt = true;
}

}  // namespace velmore
