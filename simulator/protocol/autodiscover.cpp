#include "simulator/protocol/autodiscover.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "simulator/types/text.h"
#include "simulator/types/versions.h"

namespace velmore::simulator {

namespace {

constexpr const char* kXmlPath = "/autodiscover/autodiscover.xml";
constexpr const char* kJsonPath = "/autodiscover/autodiscover.json";
constexpr const char* kServicePath = "/EWS/Exchange.asmx";
constexpr const char* kAnswerSchema = "http://schemas.microsoft.com/exchange/autodiscover/outlook/responseschema/2006a";

std::string Escaped(std::string_view text) {
  std::string out;
  EscapeXml(text, false, out);
  return out;
}

/// "<name>text</name>"
std::string Tag(const std::string& name, std::string_view text) {
  return "<" + name + ">" + Escaped(text) + "</" + name + ">";
}

std::string Document(const std::string& response) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Autodiscover xmlns=\"http://schemas.microsoft.com/exchange/"
         "autodiscover/responseschema/2006\">" +
         response + "</Autodiscover>";
}

Autodiscover::Reply Xml(const std::string& response) {
  return {200, "text/xml; charset=utf-8", Document(response), {}};
}

std::string AccountOf(const std::string& user, const std::string& account) {
  return std::string("<Response xmlns=\"") + kAnswerSchema + "\">" + user +
         "<Account><AccountType>email</AccountType>" + account + "</Account></Response>";
}

Autodiscover::Reply Json(int status, const char* first, std::string_view first_text, const char* second,
                         std::string_view second_text) {
  return {
      status,
      "application/json; charset=utf-8",
      "{" + JsonText(first) + ":" + JsonText(first_text) + "," + JsonText(second) + ":" + JsonText(second_text) + "}",
      {}};
}

std::string DomainOf(std::string_view address) {
  const std::size_t at = address.find('@');
  return at == std::string_view::npos ? std::string() : Lower(address.substr(at + 1));
}

std::string PathOf(std::string_view target) {
  return Lower(target.substr(0, target.find('?')));
}

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// What stands in an address, with its escapes undone. A plus sign is one: mailboxes have it in their names.
std::string Unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '%' && i + 2 < text.size() && Hex(text[i + 1]) >= 0 && Hex(text[i + 2]) >= 0;
    out += escape ? static_cast<char>(Hex(text[i + 1]) * 16 + Hex(text[i + 2])) : text[i];
    if (escape) i += 2;
  }
  return out;
}

/// A parameter of the query, by its name in any case.
std::string Parameter(std::string_view target, std::string_view name) {
  std::size_t at = target.find('?');
  while (at != std::string_view::npos) {
    const std::size_t end = std::min(target.find('&', at + 1), target.size());
    const std::string_view pair = target.substr(at + 1, end - at - 1);
    const std::size_t equals = pair.find('=');
    if (equals != std::string_view::npos && SameText(pair.substr(0, equals), name))
      return Unescaped(pair.substr(equals + 1));
    at = end < target.size() ? end : std::string_view::npos;
  }
  return {};
}

/// The host that the client asks, without its port, in lower case.
std::string HostOf(const Autodiscover::Question& question) {
  return Lower(question.host.substr(0, question.host.rfind(':')));
}

/// Does a rule speak of an address: by the address itself, or by "@domain"?
bool Fits(const AutodiscoverRedirect& rule, const std::string& address) {
  return SameText(rule.from, address) ||
         (rule.from.starts_with('@') && SameText(rule.from.substr(1), DomainOf(address)));
}

}  // namespace

Autodiscover::Kind Autodiscover::KindOf(std::string_view target) {
  const std::string path = PathOf(target);
  if (path == kXmlPath) return Kind::kXml;
  if (path == kJsonPath || path.starts_with(std::string(kJsonPath) + "/v1.0/")) return Kind::kJson;
  return Kind::kNone;
}

std::vector<std::string> Autodiscover::Domains() const {
  std::set<std::string> domains;
  for (const std::string& domain : options_.domains) domains.insert(Lower(domain));
  for (const auto& mailbox : store_.Mailboxes()) domains.insert(DomainOf(mailbox->owner.smtp_address));
  domains.erase("");
  return {domains.begin(), domains.end()};
}

std::optional<Autodiscover::Reply> Autodiscover::RedirectOf(const Question& question) const {
  const std::string host = HostOf(question);
  for (const AutodiscoverRedirect& rule : options_.autodiscover_redirects)
    if (rule.kind == AutodiscoverRedirect::Kind::kLocation && (rule.from.empty() || SameText(rule.from, host)))
      return Reply{302, {}, {}, rule.target};
  if (question.secure || question.https.empty()) return std::nullopt;
  // Nobody says who he is where everybody can read it. The host of a domain has its TLS at the usual port, wherever
  // the client is really sent; this machine has it where it is.
  for (const std::string& domain : Domains())
    if (host == domain || host.ends_with("." + domain)) return Reply{302, {}, {}, "https://" + host + kXmlPath};
  return Reply{302, {}, {}, question.https + kXmlPath};
}

std::string Autodiscover::ServiceUrl(const Question& question) const {
  if (!options_.external_url.empty()) return options_.external_url;
  return (question.https.empty() ? question.http : question.https) + kServicePath;
}

Autodiscover::Reply Autodiscover::Failed(const std::string& code, const std::string& message) {
  return Xml("<Response><Error Time=\"00:00:00.0000000\" Id=\"1\">" + Tag("ErrorCode", code) + Tag("Message", message) +
             "<DebugData/></Error></Response>");
}

Autodiscover::Reply Autodiscover::RefusedJson(const std::string& code, const std::string& message, int status) {
  return Json(status, "ErrorCode", code, "ErrorMessage", message);
}

std::string Autodiscover::Settings(const Question& question, const Mailbox& mailbox) const {
  const User& owner = mailbox.owner;
  const std::string url = ServiceUrl(question);
  const std::size_t host_at = url.find("://") + 3;
  const std::string host = url.substr(host_at, url.find_first_of(":/", host_at) - host_at);
  const std::string site = owner.site.empty() ? "Default-First-Site-Name" : owner.site;
  const ServerVersionRow& row = ServerVersionOf(store_.server_version);
  const std::string dn = "/o=Velmore/ou=Exchange Administrative Group (FYDIBOHF23SPDLT)/cn=Recipients/cn=" + owner.name;
  const std::string grouping = Tag("GroupingInformation", site);
  std::string account = Tag("Action", "settings");
  account += "<Protocol>" + Tag("Type", "EXCH") + Tag("Server", host) +
             Tag("ServerVersion", std::to_string(row.major) + "." + std::to_string(row.minor) + "." +
                                      std::to_string(row.build) + "." + std::to_string(row.minor_build)) +
             Tag("ASUrl", url) + Tag("OOFUrl", url) + Tag("EwsUrl", url) + grouping + "</Protocol>";
  account +=
      "<Protocol>" + Tag("Type", "EXPR") + Tag("Server", host) + Tag("SSL", url.starts_with("https:") ? "On" : "Off") +
      Tag("AuthPackage", options_.authentication.empty() ? std::string("Basic") : options_.authentication.front()) +
      Tag("ASUrl", url) + Tag("OOFUrl", url) + Tag("EwsUrl", url) + grouping + "</Protocol>";
  const auto beside = [&](const char* type, const std::string& name, const std::string& address) {
    account += "<AlternativeMailbox>" + Tag("Type", type) + Tag("DisplayName", name) + Tag("SmtpAddress", address) +
               Tag("OwnerSmtpAddress", address) + "</AlternativeMailbox>";
  };
  if (store_.ArchiveOf(mailbox) != nullptr)
    beside("Archive", "Online Archive - " + owner.display_name, owner.smtp_address);
  // Whole mailboxes that somebody may open, as servers tell of those that are mapped for him.
  for (const Grant& grant : owner.grants) {
    const Mailbox* other = store_.ByAddress(grant.mailbox);
    if (grant.folder.empty() && grant.access == Access::kOwner && other != nullptr)
      beside("Delegate", other->owner.display_name, other->owner.smtp_address);
  }
  return AccountOf("<User>" + Tag("DisplayName", owner.display_name) + Tag("LegacyDN", dn) +
                       Tag("AutoDiscoverSMTPAddress", owner.smtp_address) + Tag("DeploymentId", mailbox.guid) +
                       "</User>",
                   account);
}

Autodiscover::Reply Autodiscover::AnswerXml(const Question& question) const {
  if (question.method != "POST") return Failed("600", "Invalid Request");
  Element root;
  try {
    root = ParseXml(question.body);
  } catch (const XmlError&) {
    return Failed("600", "Invalid Request");
  }
  const Element* request = root.name == "Autodiscover" ? root.Child("Request") : nullptr;
  if (request == nullptr) return Failed("600", "Invalid Request");
  if (request->ChildText("AcceptableResponseSchema") != kAnswerSchema)
    return Failed("601", "Provider is not available.");
  const std::string& address = request->ChildText("EMailAddress");
  if (address.empty()) return Failed("600", "Invalid Request");
  for (const AutodiscoverRedirect& rule : options_.autodiscover_redirects) {
    if (rule.kind == AutodiscoverRedirect::Kind::kLocation || !Fits(rule, address)) continue;
    const bool to_address = rule.kind == AutodiscoverRedirect::Kind::kAddress;
    return Xml(AccountOf({}, to_address ? Tag("Action", "redirectAddr") + Tag("RedirectAddr", rule.target)
                                        : Tag("Action", "redirectUrl") + Tag("RedirectUrl", rule.target)));
  }
  const Mailbox* mailbox = store_.ByAddress(address);
  if (mailbox == nullptr) return Failed("500", "The e-mail address cannot be found.");
  return Xml(Settings(question, *mailbox));
}

std::optional<Autodiscover::Reply> Autodiscover::JsonRedirectOf(const Question& question, const std::string& address,
                                                                const std::string& protocol) const {
  const std::string host = HostOf(question);
  // The same service elsewhere, whatever the rule tells who asks in XML. Servers count how often they have sent on.
  const auto to = [&](std::string_view service, const std::string& whom) {
    const std::size_t authority = service.find("://") + 3;
    const int count = std::atoi(Parameter(question.target, "RedirectCount").c_str()) + 1;
    return Reply{302,
                 {},
                 {},
                 std::string(service.substr(0, service.find('/', authority))) + kJsonPath + "/v1.0/" + whom +
                     "?Protocol=" + protocol + "&RedirectCount=" + std::to_string(count)};
  };
  for (const AutodiscoverRedirect& rule : options_.autodiscover_redirects) {
    if (rule.kind == AutodiscoverRedirect::Kind::kLocation) {
      if (rule.from.empty() || SameText(rule.from, host)) return to(rule.target, address);
    } else if (Fits(rule, address)) {
      const std::string here = (question.secure ? "https://" : "http://") + question.host;
      return rule.kind == AutodiscoverRedirect::Kind::kAddress ? to(here, rule.target) : to(rule.target, address);
    }
  }
  return std::nullopt;
}

Autodiscover::Reply Autodiscover::AnswerJson(const Question& question) const {
  const std::string path = question.target.substr(0, question.target.find('?'));
  const std::string begin = std::string(kJsonPath) + "/v1.0/";
  const std::string address = path.size() > begin.size() ? Unescaped(std::string_view(path).substr(begin.size()))
                                                         : Parameter(question.target, "Email");
  if (address.find('@') == std::string::npos) return RefusedJson("InvalidUserId", "The given user id is invalid.");
  const std::string protocol = Parameter(question.target, "Protocol");
  if (protocol.empty())
    return RefusedJson("MandatoryParameterMissing",
                       "A valid value must be provided for the query parameter 'Protocol'.");
  const bool service = SameText(protocol, "Ews");
  if (!service && !SameText(protocol, "AutodiscoverV1"))
    return RefusedJson("InvalidProtocol", "The given protocol value '" + protocol +
                                              "' is invalid. Supported values are 'AutodiscoverV1,Ews'.");
  if (auto elsewhere = JsonRedirectOf(question, address, protocol)) return *std::move(elsewhere);
  if (store_.ByAddress(address) == nullptr) return RefusedJson("UserNotFound", "The given user is not found.", 404);
  const std::string base = question.https.empty() ? question.http : question.https;
  return Json(200, "Protocol", service ? "Ews" : "AutodiscoverV1", "Url",
              service ? ServiceUrl(question) : base + kXmlPath);
}

}  // namespace velmore::simulator
