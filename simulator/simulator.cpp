#include "simulator/simulator.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <shared_mutex>

#include "simulator/control/browser_page.h"
#include "simulator/control/faults.h"
#include "simulator/control/recorder.h"
#include "simulator/control/script.h"
#include "simulator/control/stream_trouble.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/model.h"
#include "simulator/mailbox/seed.h"
#include "simulator/mailbox/state_keeper.h"
#include "simulator/protocol/autodiscover.h"
#include "simulator/protocol/service.h"
#include "simulator/transport/authentication.h"
#include "simulator/transport/http_server.h"
#include "simulator/transport/tls.h"
#include "simulator/types/temporary_file.h"

namespace velmore::simulator {

namespace {

int ServerVersion(const std::string& name) {
  const int version = VersionIndex(name);
  if (version >= 0) return version;
  std::string known;
  for (const std::string& candidate : VersionNames()) known += (known.empty() ? "" : ", ") + candidate;
  throw OptionError("Unknown server version \"" + name + "\"; known are " + known + ".");
}

Options Completed(Options options) {
  ReadUsers(options.seed_directory, options);
  return options;
}

std::string CookieOf(const HttpRequest& request, const std::string& name) {
  const std::string* cookies = request.Header("Cookie");
  if (cookies == nullptr) return {};
  const std::size_t at = (" " + *cookies).find(" " + name + "=");
  if (at == std::string::npos) return {};
  const std::string value = cookies->substr(at + name.size() + 1);
  return value.substr(0, value.find(';'));
}

Arrival ArrivalOf(const HttpRequest& request) {
  Arrival arrival;
  if (const std::string* anchor = request.Header("X-AnchorMailbox")) arrival.anchor_mailbox = *anchor;
  if (const std::string* prefers = request.Header("X-PreferServerAffinity"))
    arrival.prefers_affinity = SameText(*prefers, "true");
  arrival.override_cookie = CookieOf(request, "X-BackEndOverrideCookie");
  return arrival;
}

}  // namespace

struct Simulator::Impl {
  Options options;
  Store store;
  Service service;
  Autodiscover autodiscover;
  Tokens tokens;
  Authenticator authenticator;
  Authority authority;
  TemporaryFile ca_file;
  TemporaryFile crl_file;
  FaultQueue faults{[this](const Fault& fault) { TakeOver(fault); }};
  Recorder recorder;
  std::unique_ptr<HttpServer> server;
  std::unique_ptr<StateKeeper> keeper;
  std::atomic<bool> running = false;

  mutable std::mutex mutex;  // protects the counters and the certificate shown
  Counters counters;

  explicit Impl(Options given)
      : options(Completed(std::move(given))),
        store(ServerVersion(options.version)),
        service(store, options),
        autodiscover(store, options),
        tokens([this](std::string_view name) { return FindUserOf(name); }, options.token_lifetime),
        authenticator({[this](std::string_view name) { return FindUserOf(name); }, [this] { return Users(); }}, tokens,
                      options),
        ca_file(authority.Certificate()),
        crl_file(authority.RevocationList()),
        recorder(options.keep_exchanges, options.record_directory) {
    if (!options.state_file.empty()) {
      keeper = std::make_unique<StateKeeper>(options.state_file, store);
      keeper->Read();
    }
    // What was kept has been seeded once; who is told again may have got another password.
    std::vector<const Mailbox*> kept;
    for (const auto& mailbox : store.Mailboxes()) kept.push_back(mailbox.get());
    for (const User& user : options.users) {
      Mailbox* mailbox = store.ByAddress(user.smtp_address);
      if (mailbox != nullptr && std::find(kept.begin(), kept.end(), mailbox) != kept.end())
        Store::SetOwner(*mailbox, user);
      else
        store.AddMailbox(user);
    }
    for (const DirectoryContact& contact : options.directory) {
      const bool known = std::any_of(store.contacts.begin(), store.contacts.end(), [&](const DirectoryContact& other) {
        return SameText(other.smtp_address, contact.smtp_address);
      });
      if (!known || kept.empty()) store.AddContact(contact);
    }
    ReadMessages(options.seed_directory, store, kept,
                 [this](Mailbox& mailbox, Folder& folder, const std::string& xml) { AddXml(mailbox, folder, xml); });
    for (const DirectoryList& list : options.lists)
      if (std::none_of(store.lists.begin(), store.lists.end(),
                       [&](const DirectoryList& other) { return SameText(other.smtp_address, list.smtp_address); }))
        store.lists.push_back(list);
    for (const Fill& fill : options.fills) {
      Mailbox& mailbox = MailboxOf(fill.mailbox);
      if (std::find(kept.begin(), kept.end(), &mailbox) != kept.end()) continue;
      FillFolder(mailbox, FolderByPath(mailbox, fill.folder, true), fill.count, options.fill_seed);
    }
    if (!options.script_file.empty()) LoadScript(options.script_file);
  }

  std::optional<User> FindUserOf(std::string_view name) const {
    const std::shared_lock lock(store.mutex);
    const Mailbox* mailbox = store.ByLogon(name);
    return mailbox != nullptr ? std::optional(mailbox->owner) : std::nullopt;
  }

  std::vector<User> Users() const {
    const std::shared_lock lock(store.mutex);
    std::vector<User> users;
    for (const auto& mailbox : store.Mailboxes()) users.push_back(mailbox->owner);
    return users;
  }

  void LoadScript(const std::string& file) {
    Script script = ReadScript(file);
    if (script.certificate) Show(*script.certificate);
    if (script.authentication) authenticator.SetSchemes(*script.authentication);
    for (Fault& fault : script.faults) faults.Add(std::move(fault));
  }

  Identity Issue(Certificate certificate) const {
    const std::shared_lock lock(store.mutex);
    return authority.Issue(certificate, autodiscover.Domains());
  }

  Certificate Shown() const {
    const std::lock_guard lock(mutex);
    return options.certificate;
  }

  void Show(Certificate certificate) {
    const Identity identity = Issue(certificate);
    {
      const std::lock_guard lock(mutex);
      options.certificate = certificate;
    }
    // Not under the lock: the server holds its own while it tells of a connection, which is counted under this one.
    if (server != nullptr) server->SetIdentity(identity.certificate, identity.key);
  }

  /// Makes an item from its XML. Throws whatever refuses it.
  Item& AddXml(Mailbox& mailbox, Folder& folder, const std::string& xml) {
    const Element wrapper = ParseXml("<wrapper xmlns:t=\"" + std::string(kTypesNamespace) + "\">" + xml + "</wrapper>");
    if (wrapper.children.size() != 1) throw SimulatorError("Exactly one item is expected.");
    Context context{store, options, mailbox.owner, &mailbox, store.server_version, {}};
    return mailbox.AddItem(folder, MakeItem(context, wrapper.children.front()));
  }

  /// Is the page asked for under a name of this machine? A page elsewhere may give its own name this machine's address
  /// and read with the browser of whoever looks at it; an address in figures is nobody's name.
  bool IsOurs(const HttpRequest& request) const {
    const std::string* header = request.Header("Host");
    if (header == nullptr) return false;
    std::string host = Lower(header->substr(0, header->rfind(':')));
    if (header->starts_with('[')) host = Lower(header->substr(0, header->find(']') + 1));
    const auto in_figures = [&host] {
      return host.starts_with('[') || (!host.empty() && host.find_first_not_of("0123456789.") == std::string::npos);
    };
    return host == "localhost" || in_figures() ||
           std::any_of(options.page_hosts.begin(), options.page_hosts.end(),
                       [&host](const std::string& name) { return SameText(name, host); });
  }

  /// Mailboxes and exchanges for a browser. Looking leaves no trace in what is looked at.
  HttpResponse Show(const HttpRequest& request) {
    if (!IsOurs(request)) {
      HttpResponse refusal;
      refusal.status = 403;
      refusal.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
      refusal.body =
          "This page is shown under the address of the server in figures, localhost, and the names that it was told.";
      return refusal;
    }
    BrowserPage::Figures figures;
    figures.pending_faults = faults.Pending();
    {
      const std::lock_guard lock(mutex);
      figures.counters = counters;
    }
    const std::optional<std::string> page = BrowserPage(store, recorder).Render(request.target, figures);
    HttpResponse response;
    response.status = page ? 200 : 404;
    response.body = page.value_or("There is nothing of that number or id any more.");
    response.headers = {{"Content-Type", page ? "text/html; charset=utf-8" : "text/plain; charset=utf-8"},
                        {"Cache-Control", "no-store"},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Content-Security-Policy",
                         "default-src 'none'; style-src 'unsafe-inline'; img-src data:; frame-ancestors 'none'"}};
    return response;
  }

  HttpResponse Handle(const HttpRequest& request, ConnectionState& connection) {
    if (options.browser_page && (request.method == "GET" || request.method == "HEAD") &&
        (request.target == "/" || request.target.starts_with("/?")))
      return Show(request);
    Exchange exchange;
    exchange.method = request.method;
    exchange.target = request.target;
    exchange.secure = request.secure;
    exchange.request_headers = request.headers;
    exchange.request_body = request.body;
    HttpResponse response = Answer(request, connection, exchange);
    const bool closed = response.fault.close_before_reply;
    exchange.status = closed ? 0 : response.status;
    exchange.response_headers = response.headers;
    exchange.response_body = closed ? std::string() : response.body;
    {
      const std::lock_guard lock(mutex);
      ++counters.requests;
      if (!exchange.operation.empty()) ++counters.operations[exchange.operation];
    }
    if (response.stream && !closed)
      response.stream = Recorded(std::move(response.stream), std::move(exchange));
    else
      recorder.Add(std::move(exchange));
    return response;
  }

  /// A stream is kept like any reply, once it has ended.
  StreamBody Recorded(StreamBody body, Exchange exchange) {
    class Listening : public ReplyStream {
     public:
      Listening(ReplyStream& stream, std::string& heard) : stream_(stream), heard_(heard) {}
      bool Write(std::string_view bytes) override {
        heard_ += bytes;
        return stream_.Write(bytes);
      }
      bool Wait(std::chrono::milliseconds time) override { return stream_.Wait(time); }
      void Wake() override { stream_.Wake(); }

     private:
      ReplyStream& stream_;
      std::string& heard_;
    };
    return [this, body = std::move(body), exchange = std::move(exchange)](ReplyStream& stream) mutable {
      Listening listening(stream, exchange.response_body);
      body(listening);
      recorder.Add(std::move(exchange));
    };
  }

  static HttpResponse Challenged(const Authenticator::Result& who) {
    HttpResponse response;
    response.status = 401;
    response.headers.emplace_back("Server", "Velmore-EWS-Simulator");
    for (const std::string& challenge : who.challenges) response.headers.emplace_back("WWW-Authenticate", challenge);
    return response;
  }

  /// What changes for those who come later.
  void TakeOver(const Fault& fault) {
    if (fault.certificate) Show(*fault.certificate);
    if (fault.authentication) authenticator.SetSchemes(*fault.authentication);
  }

  /// What an HTTP status that was asked for looks like. Who is told 401 is offered the schemes, unless he is told some.
  HttpResponse StatusOf(const Fault& fault) const {
    HttpResponse response;
    response.status = fault.http_status;
    response.body = fault.body;
    const bool challenged = std::any_of(fault.headers.begin(), fault.headers.end(),
                                        [](const auto& header) { return SameText(header.first, "WWW-Authenticate"); });
    if (fault.http_status == 401 && !challenged)
      for (const std::string& challenge : authenticator.Challenges())
        response.headers.emplace_back("WWW-Authenticate", challenge);
    response.headers.emplace_back("Content-Type", fault.content_type.empty() ? "text/html" : fault.content_type);
    return response;
  }

  /// Answers a question beside the service, or plays the failure that waits for its name. `refuse` makes a refusal of a
  /// code and a text in the words of whoever is asked.
  HttpResponse AnswerBeside(const std::string& name, Exchange& exchange, const std::function<HttpResponse()>& answer,
                            const std::function<HttpResponse(const std::string&, const std::string&)>& refuse) {
    exchange.operation = name;
    const std::optional<Fault> fault = faults.TakeNamed(name);
    if (!fault) return answer();
    HttpResponse response = fault->Replaces() && !fault->execute ? HttpResponse() : answer();
    if (fault->http_status != 0) {
      response = StatusOf(*fault);
    } else if (const std::string& code = fault->soap_fault_code.empty() ? fault->response_code : fault->soap_fault_code;
               !code.empty()) {
      response = refuse(code, fault->message_text);
    } else if (fault->replace_body) {
      response = HttpResponse();
      response.body = fault->body;
      response.headers = {{"Content-Type", fault->content_type.empty() ? "text/html" : fault->content_type}};
    }
    response.headers.insert(response.headers.end(), fault->headers.begin(), fault->headers.end());
    response.fault = *fault;
    return response;
  }

  HttpResponse AnswerTokens(const HttpRequest& request, Exchange& exchange) {
    return AnswerBeside(
        Tokens::NameOf(request), exchange, [&] { return tokens.Answer(request); }, Tokens::Refused);
  }

  HttpResponse AnswerAutodiscover(const HttpRequest& request, ConnectionState& connection, Exchange& exchange) {
    Autodiscover::Question question{request.method, request.target, {}, request.body, request.secure, {}, {}};
    if (const std::string* host = request.Header("Host")) question.host = *host;
    if (server->HttpsPort() != 0) question.https = "https://localhost:" + std::to_string(server->HttpsPort());
    if (server->HttpPort() != 0) question.http = "http://" + options.address + ":" + std::to_string(server->HttpPort());
    const auto reply_of = [](Autodiscover::Reply reply) {
      HttpResponse response;
      response.status = reply.status;
      response.body = std::move(reply.body);
      response.headers.emplace_back("Server", "Velmore-EWS-Simulator");
      if (!reply.content_type.empty()) response.headers.emplace_back("Content-Type", reply.content_type);
      if (!reply.location.empty()) response.headers.emplace_back("Location", reply.location);
      return response;
    };
    if (Autodiscover::KindOf(request.target) == Autodiscover::Kind::kJson) {
      return AnswerBeside(
          "AutodiscoverV2", exchange,
          [&] {
            const std::shared_lock lock(store.mutex);
            return reply_of(autodiscover.AnswerJson(question));
          },
          [&](const std::string& code, const std::string& text) {
            return reply_of(Autodiscover::RefusedJson(code, text));
          });
    }
    {
      const std::shared_lock lock(store.mutex);
      if (auto redirect = autodiscover.RedirectOf(question)) return reply_of(*std::move(redirect));
    }
    const Authenticator::Result who = authenticator.Check(request, connection);
    if (!who.user) return Challenged(who);
    exchange.user = who.user->name;
    HttpResponse response = AnswerBeside(
        "Autodiscover", exchange,
        [&] {
          const std::shared_lock lock(store.mutex);
          return reply_of(autodiscover.AnswerXml(question));
        },
        [&](const std::string& code, const std::string& text) { return reply_of(Autodiscover::Failed(code, text)); });
    response.headers.insert(response.headers.end(), who.headers.begin(), who.headers.end());
    return response;
  }

  HttpResponse Answer(const HttpRequest& request, ConnectionState& connection, Exchange& exchange) {
    if (Tokens::Serves(request)) return AnswerTokens(request, exchange);
    if (Autodiscover::KindOf(request.target) != Autodiscover::Kind::kNone)
      return AnswerAutodiscover(request, connection, exchange);
    HttpResponse response;
    response.headers.emplace_back("Server", "Velmore-EWS-Simulator");
    const std::string path = Lower(request.target.substr(0, request.target.find('?')));
    if (path != "/ews/exchange.asmx") {
      response.status = 404;
      response.body = "There is nothing here. The service is at /EWS/Exchange.asmx.";
      response.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
      return response;
    }
    const Authenticator::Result who = authenticator.Check(request, connection);
    // A fault may ask for an answer to requests that are not authenticated yet, but it must not be spent on the
    // challenge.
    if (!who.user) return Challenged(who);
    response.headers.insert(response.headers.end(), who.headers.begin(), who.headers.end());
    exchange.user = who.user->name;
    if (request.method != "POST") {
      response.status = request.method == "GET" || request.method == "HEAD" ? 200 : 405;
      response.headers.emplace_back("Content-Type", "text/html; charset=utf-8");
      response.body =
          "<html><body>Exchange Web Services of the Velmore EWS Simulator. Requests are sent by POST.</body></html>";
      return response;
    }
    const std::string* type = request.Header("Content-Type");
    if (type == nullptr || !Lower(*type).starts_with("text/xml")) {
      response.status = 415;
      return response;
    }
    SoapRequest soap = service.Read(request.body);
    soap.arrival = ArrivalOf(request);
    exchange.operation = soap.operation;
    const std::optional<Fault> fault = faults.Take(soap.operation);
    SoapReply reply;
    if (!fault || !fault->Replaces() || fault->execute) {
      std::map<std::string, std::uint64_t> departures;
      bool refused = false;
      reply = service.Execute(soap, *who.user, departures, refused);
      const std::lock_guard lock(mutex);
      for (const auto& [name, count] : departures) counters.departures[name] += count;
      if (refused) ++counters.refused;
    }
    std::string content_type = "text/xml; charset=utf-8";
    if (fault) {
      std::vector<Element> hint;
      if (fault->back_off_milliseconds > 0)
        hint.push_back(Types("Value", std::to_string(fault->back_off_milliseconds)).Set("Name", "BackOffMilliseconds"));
      if (fault->http_status != 0) {
        HttpResponse status = StatusOf(*fault);
        reply = {status.status, std::move(status.body)};
        content_type = status.headers.back().second;
        status.headers.pop_back();
        response.headers.insert(response.headers.end(), status.headers.begin(), status.headers.end());
      } else if (!fault->soap_fault_code.empty()) {
        reply = service.FaultReply(
            fault->soap_fault_code,
            fault->message_text.empty() ? SoapFault(fault->soap_fault_code).what() : fault->message_text, hint);
      } else if (!fault->response_code.empty()) {
        EwsError error(fault->response_code, fault->message_text);
        error.details = hint;
        reply = service.MessageReply(soap.operation, error, fault->warning);
      } else if (fault->replace_body) {
        reply = {200, fault->body};
        if (!fault->content_type.empty()) content_type = fault->content_type;
      }
      response.headers.insert(response.headers.end(), fault->headers.begin(), fault->headers.end());
      response.fault = *fault;
    }
    response.status = reply.status;
    response.body = std::move(reply.body);
    response.stream = std::move(reply.stream);
    if (fault && response.stream) response.stream = Troubled(std::move(response.stream), *fault);
    response.headers.insert(response.headers.end(), reply.headers.begin(), reply.headers.end());
    response.headers.emplace_back("Content-Type", content_type);
    const std::string* cookies = request.Header("Cookie");
    if (cookies == nullptr || cookies->find("exchangecookie=") == std::string::npos) {
      std::string guid = NewGuid();
      std::erase(guid, '-');
      response.headers.emplace_back("Set-Cookie", "exchangecookie=" + guid + "; path=/; HttpOnly");
    }
    return response;
  }

  Mailbox& MailboxOf(const std::string& address) { return MailboxNamed(store, address); }

  std::pair<Mailbox*, std::shared_ptr<Item>> ItemOf(const std::string& id) const {
    const auto parsed = ParseEwsId(id);
    Mailbox* mailbox = parsed ? store.ByGuid(parsed->mailbox) : nullptr;
    return {mailbox, mailbox != nullptr ? mailbox->FindItem(parsed->entry) : nullptr};
  }
};

Simulator::Simulator(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Simulator::~Simulator() {
  try {
    Stop();
  } catch (const SimulatorError&) {
    // Who wants to know calls Stop himself.
  }
}

void Simulator::Start() {
  Impl& impl = *impl_;
  if (impl.running) return;
  HttpServer::Settings settings;
  settings.address = impl.options.address;
  settings.http = impl.options.http;
  settings.https = impl.options.https;
  settings.http_port = impl.options.http_port;
  settings.https_port = impl.options.https_port;
  settings.max_request_bytes = impl.options.max_request_bytes;
  settings.gzip = impl.options.gzip;
  settings.chunk_bytes = impl.options.chunk_bytes;
  settings.idle_limit = impl.options.idle_limit;
  settings.stall_limit = impl.options.stall_limit;
  const Identity identity = impl.Issue(impl.options.certificate);
  settings.certificate = identity.certificate;
  settings.key = identity.key;
  settings.on_connection = [&impl] {
    const std::lock_guard lock(impl.mutex);
    ++impl.counters.connections;
  };
  impl.server = std::make_unique<HttpServer>(
      std::move(settings),
      [&impl](const HttpRequest& request, ConnectionState& connection) { return impl.Handle(request, connection); });
  impl.server->Start();
  if (impl.keeper != nullptr) impl.keeper->Start(impl.options.state_interval);
  impl.running = true;
}

void Simulator::Stop() {
  if (!impl_->running.exchange(false)) return;
  impl_->server->Stop();
  if (impl_->keeper != nullptr) impl_->keeper->Stop();
}

bool Simulator::Running() const {
  return impl_->running;
}

std::uint16_t Simulator::HttpPort() const {
  return impl_->running ? impl_->server->HttpPort() : std::uint16_t{0};
}
std::uint16_t Simulator::HttpsPort() const {
  return impl_->running ? impl_->server->HttpsPort() : std::uint16_t{0};
}

std::string Simulator::HttpUrl() const {
  return HttpPort() == 0 ? std::string()
                         : "http://" + impl_->options.address + ":" + std::to_string(HttpPort()) + "/EWS/Exchange.asmx";
}

std::string Simulator::HttpsUrl() const {
  return HttpsPort() == 0 ? std::string() : "https://localhost:" + std::to_string(HttpsPort()) + "/EWS/Exchange.asmx";
}

std::string Simulator::CaCertificate() const {
  return impl_->authority.Certificate();
}
std::string Simulator::CaCertificateFile() const {
  return impl_->ca_file.Path();
}
std::string Simulator::CertificateRevocationListFile() const {
  return impl_->crl_file.Path();
}

void Simulator::SetCertificate(Certificate certificate) {
  impl_->Show(certificate);
}

void Simulator::SetAuthentication(const std::vector<std::string>& schemes) {
  impl_->authenticator.SetSchemes(schemes);
}

void Simulator::DropConnections() {
  if (impl_->running) impl_->server->DropConnections();
}

void Simulator::AddUser(const User& user) {
  std::size_t domains = 0;
  {
    const std::lock_guard lock(impl_->store.mutex);
    domains = impl_->autodiscover.Domains().size();
    impl_->store.AddMailbox(user);
    domains = impl_->autodiscover.Domains().size() - domains;
  }
  // The certificate holds for the domains of the mailboxes.
  if (domains > 0 && impl_->running) impl_->Show(impl_->Shown());
}

void Simulator::AddDirectoryContact(const DirectoryContact& contact) {
  const std::lock_guard lock(impl_->store.mutex);
  impl_->store.AddContact(contact);
}

Id Simulator::AddMessage(const std::string& smtp_address, const std::string& folder, std::string mime) {
  const std::lock_guard lock(impl_->store.mutex);
  Mailbox& mailbox = impl_->MailboxOf(smtp_address);
  const Item& item = SeedMessage(mailbox, FolderByPath(mailbox, folder, true),
                                 std::make_shared<const std::string>(std::move(mime)), Now());
  return {mailbox.IdOf(item), mailbox.KeyOf(item)};
}

Id Simulator::AddItem(const std::string& smtp_address, const std::string& folder, const std::string& xml) {
  const std::lock_guard lock(impl_->store.mutex);
  Mailbox& mailbox = impl_->MailboxOf(smtp_address);
  try {
    const Item& added = impl_->AddXml(mailbox, FolderByPath(mailbox, folder, true), xml);
    return {mailbox.IdOf(added), mailbox.KeyOf(added)};
  } catch (const SimulatorError&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw SimulatorError(std::string("The item cannot be added: ") + error.what());
  }
}

Id Simulator::Deliver(const std::string& smtp_address, std::string mime) {
  const std::lock_guard lock(impl_->store.mutex);
  Mailbox& mailbox = impl_->MailboxOf(smtp_address);
  const Item& item =
      DeliverTo(impl_->store, mailbox, ImportMime(std::make_shared<const std::string>(std::move(mime)), Now()),
                "mail.example.org");
  return {mailbox.IdOf(item), mailbox.KeyOf(item)};
}

void Simulator::SetUserConfiguration(const std::string& smtp_address, const std::string& folder,
                                     const std::string& name, const std::string& xml_data) {
  const std::lock_guard lock(impl_->store.mutex);
  Mailbox& mailbox = impl_->MailboxOf(smtp_address);
  KeepUserConfiguration(mailbox, FolderByPath(mailbox, folder, true), name, xml_data);
}

std::vector<std::string> Simulator::SentOutside() const {
  const std::lock_guard lock(impl_->store.mutex);
  std::vector<std::string> texts;
  for (const auto& mime : impl_->store.SentOutside()) texts.push_back(*mime);
  return texts;
}

Id Simulator::Touch(const std::string& item_id) {
  const std::lock_guard lock(impl_->store.mutex);
  const auto [mailbox, item] = impl_->ItemOf(item_id);
  if (item == nullptr) throw SimulatorError("There is no item with this id.");
  mailbox->Touch(*item, mailbox->owner.display_name);
  return {mailbox->IdOf(*item), mailbox->KeyOf(*item)};
}

std::size_t Simulator::CountItems(const std::string& smtp_address, const std::string& folder) const {
  const std::lock_guard lock(impl_->store.mutex);
  try {
    return FolderByPath(impl_->MailboxOf(smtp_address), folder, false).items.size();
  } catch (const SimulatorError&) {
    return 0;
  }
}

std::string Simulator::DumpItem(const std::string& item_id) const {
  const std::lock_guard lock(impl_->store.mutex);
  const auto [mailbox, item] = impl_->ItemOf(item_id);
  if (item == nullptr) return {};
  return velmore::simulator::DumpItem(*mailbox, *item, impl_->store.server_version);
}

std::size_t Simulator::CountSubscriptions() {
  return impl_->service.CountSubscriptions();
}
void Simulator::ForgetSubscriptions() {
  impl_->service.ForgetSubscriptions();
}
void Simulator::SetBackEnd(const std::string& smtp_address, int back_end) {
  const std::lock_guard lock(impl_->store.mutex);
  impl_->MailboxOf(smtp_address).owner.back_end = back_end;
}

void Simulator::AddFault(Fault fault) {
  impl_->faults.Add(std::move(fault));
}
void Simulator::LoadScript(const std::string& file) {
  impl_->LoadScript(file);
}
void Simulator::ClearFaults() {
  impl_->faults.Clear();
}
std::size_t Simulator::PendingFaults() const {
  return impl_->faults.Pending();
}

Counters Simulator::GetCounters() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->counters;
}

std::vector<Exchange> Simulator::Exchanges() const {
  return impl_->recorder.All();
}
void Simulator::ClearExchanges() {
  impl_->recorder.Clear();
}

}  // namespace velmore::simulator
