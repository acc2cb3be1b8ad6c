#include "simulator/protocol/service.h"

#include <algorithm>
#include <cstdlib>

#include "simulator/protocol/locks.h"
#include "simulator/schema/refusal.h"
#include "simulator/types/versions.h"

namespace velmore::simulator {

namespace {

/// Operations whose response element is not "...Response" with response messages.
bool IsBareResponse(const std::string& operation) {
  return operation.ends_with("Request");
}

/// The reader tells where a start tag ends; servers tell where the name in it begins.
void MoveToName(std::string_view bytes, unsigned& line, unsigned& column) {
  if (line == 0 || bytes.find('\0') != std::string_view::npos) return;
  std::size_t begin = 0;
  for (unsigned i = 1; i < line; ++i) {
    begin = bytes.find('\n', begin);
    if (begin == std::string_view::npos) return;
    ++begin;
  }
  const std::size_t end = std::min(begin + column, bytes.size());
  if (end < 2) return;
  const std::size_t tag = bytes.rfind('<', end - 2);
  if (tag == std::string_view::npos) return;
  const std::size_t before = tag == 0 ? std::string_view::npos : bytes.rfind('\n', tag - 1);
  line -= static_cast<unsigned>(std::count(bytes.begin() + static_cast<std::ptrdiff_t>(std::min(tag, begin)),
                                           bytes.begin() + static_cast<std::ptrdiff_t>(begin), '\n'));
  column = static_cast<unsigned>(tag + 2 - (before == std::string_view::npos ? 0 : before + 1));
}

}  // namespace

Service::Service(Store& store, const Options& options)
    : store_(store), options_(options), subscriptions_(store, options) {
  if (!options.schema_directory.empty()) validator_ = std::make_unique<Validator>(options.schema_directory);
}

std::string Service::Envelope(const std::string& body) const {
  const ServerVersionRow& row = ServerVersionOf(store_.server_version);
  std::string out = "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"";
  out += kSoapNamespace;
  out += "\"><s:Header><h:ServerVersionInfo MajorVersion=\"" + std::to_string(row.major) + "\" MinorVersion=\"" +
         std::to_string(row.minor) + "\" MajorBuildNumber=\"" + std::to_string(row.build) + "\" MinorBuildNumber=\"" +
         std::to_string(row.minor_build) + "\"";
  // The first Exchange 2007 did not tell its version by name.
  if (store_.server_version > kExchange2007) out += " Version=\"" + options_.version + "\"";
  out += " xmlns:h=\"";
  out += kTypesNamespace;
  out += "\" xmlns=\"";
  out += kTypesNamespace;
  out +=
      "\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"/></s:Header>"
      "<s:Body xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">";
  out.reserve(out.size() + body.size() + 40);
  out += body;
  out += "</s:Body></s:Envelope>";
  return out;
}

std::size_t Service::CountSubscriptions() {
  const std::lock_guard lock(store_.mutex);
  return subscriptions_.Count();
}

void Service::ForgetSubscriptions() {
  const std::lock_guard lock(store_.mutex);
  subscriptions_.Forget();
}

int Service::BackEndOf(const Arrival& arrival, const Mailbox* home) const {
  constexpr std::string_view name = "backend-";
  if (arrival.override_cookie.starts_with(name)) {
    const int number = std::atoi(arrival.override_cookie.c_str() + name.size());
    if (number >= 0 && number < options_.back_ends) return number;
  }
  const Mailbox* anchor = arrival.anchor_mailbox.empty() ? nullptr : store_.ByAddress(arrival.anchor_mailbox);
  if (anchor == nullptr) anchor = home;
  return anchor == nullptr ? 0 : anchor->owner.back_end;
}

SoapReply Service::FaultReply(const std::string& code, const std::string& text,
                              const std::vector<Element>& details) const {
  std::string body = "<s:Fault><faultcode xmlns:a=\"" + std::string(kTypesNamespace) + "\">a:" + code +
                     "</faultcode><faultstring xml:lang=\"en-US\">";
  EscapeXml(text, false, body);
  body += "</faultstring><detail><e:ResponseCode xmlns:e=\"" + std::string(kErrorsNamespace) + "\">" + code +
          "</e:ResponseCode><e:Message xmlns:e=\"" + std::string(kErrorsNamespace) + "\">";
  EscapeXml(code == "ErrorSchemaValidation" ? "The request failed schema validation." : text, false, body);
  body += "</e:Message>";
  if (!details.empty()) {
    body += "<t:MessageXml xmlns:t=\"" + std::string(kTypesNamespace) + "\">";
    for (const Element& detail : details) WriteXml(detail, body);
    body += "</t:MessageXml>";
  }
  body += "</detail></s:Fault>";
  return {500, Envelope(body)};
}

SoapReply Service::ViolationReply(const std::string& text, unsigned line, unsigned column) const {
  return FaultReply("ErrorSchemaValidation", "The request failed schema validation: " + text,
                    {Types("LineNumber", std::to_string(line)), Types("LinePosition", std::to_string(column)),
                     Types("Violation", text)});
}

SoapReply Service::MessageReply(const std::string& operation, const EwsError& error, bool warning) const {
  Element response = Messages(operation + "Response");
  Element message = RefusedMessage(operation, error, warning);
  if (IsBareMessage(operation)) {
    message.name = response.name;
    response = std::move(message);
  } else if (IsBareResponse(operation)) {
    response.name = operation.substr(0, operation.size() - 7) + "Response";
    message.name = "ResponseMessage";
    response.Add(std::move(message));
  } else {
    if (operation == "GetMailTips") message.name = "MailTipsResponseMessageType";
    response.Add(Messages("ResponseMessages")).Add(std::move(message));
  }
  response.Set("xmlns:m", kMessagesNamespace).Set("xmlns:t", kTypesNamespace);
  std::string body;
  WriteXml(response, body);
  return {200, Envelope(body)};
}

SoapRequest Service::Read(std::string_view body) const {
  SoapRequest request;
  request.bytes = body;
  Element root;
  try {
    root = ParseXml(body);
  } catch (const XmlError& error) {
    request.refusal = ViolationReply(error.what(), error.line, error.column);
    return request;
  }
  if (root.name != "Envelope" || root.space != Space::kSoap) {
    request.refusal = ViolationReply("Could not find the SOAP 1.1 envelope.", root.line, root.column);
    return request;
  }
  Element* soap_body = nullptr;
  for (Element& child : root.children) {
    if (child.space != Space::kSoap) continue;
    if (child.name == "Header")
      request.header = std::move(child);
    else if (child.name == "Body")
      soap_body = &child;
  }
  if (soap_body == nullptr || soap_body->children.size() != 1) {
    request.refusal = ViolationReply("The SOAP body must hold exactly one operation.", root.line, root.column);
    return request;
  }
  request.method = std::move(soap_body->children.front());
  if (request.method.space == Space::kMessages) request.operation = request.method.name;
  return request;
}

SoapReply Service::Execute(SoapRequest& request, const User& user, std::map<std::string, std::uint64_t>& departures,
                           bool& refused) {
  if (request.refusal) {
    refused = true;
    return *request.refusal;
  }
  std::string body;
  SoapReply reply;
  // Looked at before the store is locked, since it takes its time with large requests.
  const std::optional<SchemaViolation> violation = validator_ ? validator_->Check(request.bytes) : std::nullopt;
  try {
    std::optional<OperationLock> lock;
    lock.emplace(store_, !StaysInMailboxes(request.operation, request.method));
    Context context{store_, options_, user, store_.ByAddress(user.smtp_address), kExchange2007};
    if (const Element* version = request.header.Child("RequestServerVersion")) {
      context.version = VersionIndex(version->AttributeText("Version"));
      if (context.version < 0 || context.version > store_.server_version) throw SoapFault("ErrorInvalidServerVersion");
    }
    if (const Element* impersonation = request.header.Child("ExchangeImpersonation")) {
      const Element* sid = impersonation->Child("ConnectingSID");
      const std::string address = sid != nullptr && !sid->children.empty() ? sid->children.front().text : std::string();
      Mailbox* mailbox = store_.ByLogon(address);
      if (mailbox == nullptr) throw SoapFault("ErrorNonExistentMailbox");
      if (!user.may_impersonate && !SameText(mailbox->owner.smtp_address, user.smtp_address))
        throw SoapFault("ErrorImpersonateUserDenied");
      context.user = mailbox->owner;
      context.home = mailbox;
    }
    context.account = user.name;
    context.back_end = BackEndOf(request.arrival, context.home);
    context.subscriptions = &subscriptions_;
    context.envelope = [this](const Element& response, bool declaration) {
      Element element = response;
      element.Set("xmlns:m", kMessagesNamespace).Set("xmlns:t", kTypesNamespace);
      std::string text;
      WriteXml(element, text);
      text = Envelope(text);
      return declaration ? text : text.substr(text.find("?>") + 2);
    };
    if (request.arrival.prefers_affinity && context.version >= kExchange2013)
      reply.headers.emplace_back("Set-Cookie", "X-BackEndOverrideCookie=backend-" + std::to_string(context.back_end) +
                                                   "~1941997017; path=/; HttpOnly");
    if (const Element* zone = request.header.Child("TimeZoneContext"))
      if (const Element* definition = zone->Child("TimeZoneDefinition"))
        context.time_zone = definition->AttributeText("Id");
    lock->TakeMailboxes(request.method, {context.home, store_.ByAddress(user.smtp_address)});
    const Operation operation = FindOperation(request.operation, context.version);
    if (operation == nullptr && IsMissingHere(request.operation))
      throw SoapFault("ErrorInvalidOperation", "The simulator does not have " + request.operation + ".");
    if (operation == nullptr && violation) throw SchemaViolation(*violation);
    if (operation == nullptr)
      throw SchemaViolation("Could not find schema information for the element '" +
                                std::string(SpaceUri(request.method.space)) + ":" + request.method.name + "'.",
                            request.method.line, request.method.column);
    Schema::Checker checker;
    checker.version = context.version;
    checker.accept_departures = options_.accept_departures && validator_ == nullptr;
    if (violation) {
      // Which departures these are is worth knowing although they do not pass.
      Schema::Checker counting{context.version, true, {}};
      try {
        Schema::Instance().Check(request.method, counting);
      } catch (const SchemaViolation&) {
      }
      departures = std::move(counting.departures);
      throw SchemaViolation(*violation);
    }
    Schema::Instance().Check(request.method, checker);
    Element response = operation(context, request.method);
    lock.reset();  // the answer is its own by now
    departures = std::move(checker.departures);
    reply.stream = std::move(context.stream);
    response.Set("xmlns:m", kMessagesNamespace).Set("xmlns:t", kTypesNamespace);
    WriteXml(response, body);
  } catch (const SchemaViolation& violation) {
    refused = true;
    unsigned line = violation.line;
    unsigned column = violation.column;
    MoveToName(request.bytes, line, column);
    return ViolationReply(violation.what(), line, column);
  } catch (const SoapFault& fault) {
    refused = true;
    return FaultReply(fault.code, fault.what(), fault.details);
  } catch (const EwsError& error) {
    // What is wrong with the request as a whole (its shape, its restriction) is told in a message of the operation.
    return MessageReply(request.operation, error, false);
  }
  if (!reply.stream) reply.body = Envelope(body);
  return reply;
}

}  // namespace velmore::simulator
