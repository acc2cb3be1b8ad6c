// The simulator for programs on a system for which it is not built: the same class, whose calls are carried out by a
// host on the same machine (host.cpp). A simulator lives as long as its connection.

#include "simulator/remote/wire.h"

#include <boost/asio/io_context.hpp>

#include <cstdlib>
#include <mutex>

namespace velmore::simulator {

using boost::asio::ip::tcp;
using nlohmann::json;

namespace {

tcp::endpoint Host() {
  const char* place = std::getenv(remote::kHostVariable);
  const std::string text = place ? place : "";
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    throw SimulatorError(std::string("The simulator's host is not known: ") + remote::kHostVariable +
                         " has to say where it listens.");
  }
  return {boost::asio::ip::make_address(text.substr(0, colon)),
          static_cast<std::uint16_t>(std::stoi(text.substr(colon + 1)))};
}

class Connection {
 public:
  Connection() : socket_(context_) {
    socket_.connect(Host());
    socket_.set_option(tcp::no_delay(true));
  }

  template <typename... Arguments>
  json Call(const char* what, const Arguments&... arguments) {
    const std::scoped_lock lock(mutex_);
    remote::Write(socket_, json::array({what, json::array({json(arguments)...})}));
    const json answer = remote::Read(socket_);
    if (answer.contains("option_error")) throw OptionError(answer["option_error"].get<std::string>());
    if (answer.contains("error")) throw SimulatorError(answer["error"].get<std::string>());
    return answer.at("result");
  }

 private:
  std::mutex mutex_;  // protects the conversation
  boost::asio::io_context context_;
  tcp::socket socket_;
};

}  // namespace

struct Simulator::Impl {
  mutable Connection host;
};

Simulator::Simulator(Options options) : impl_(std::make_unique<Impl>()) {
  impl_->host.Call("Simulator", options);
}

Simulator::~Simulator() {
  try {
    impl_->host.Call("End");  // what the destructor waits for has ended when this returns
  } catch (const std::exception&) {
    // The host is gone, and with it the simulator.
  }
}

void Simulator::Start() {
  impl_->host.Call("Start");
}
void Simulator::Stop() {
  impl_->host.Call("Stop");
}
bool Simulator::Running() const {
  return impl_->host.Call("Running").get<bool>();
}
std::string Simulator::HttpUrl() const {
  return impl_->host.Call("HttpUrl").get<std::string>();
}
std::string Simulator::HttpsUrl() const {
  return impl_->host.Call("HttpsUrl").get<std::string>();
}
std::uint16_t Simulator::HttpPort() const {
  return impl_->host.Call("HttpPort").get<std::uint16_t>();
}
std::uint16_t Simulator::HttpsPort() const {
  return impl_->host.Call("HttpsPort").get<std::uint16_t>();
}
std::string Simulator::CaCertificate() const {
  return impl_->host.Call("CaCertificate").get<std::string>();
}
std::string Simulator::CaCertificateFile() const {
  return impl_->host.Call("CaCertificateFile").get<std::string>();
}
std::string Simulator::CertificateRevocationListFile() const {
  return impl_->host.Call("CertificateRevocationListFile").get<std::string>();
}
void Simulator::SetCertificate(Certificate certificate) {
  impl_->host.Call("SetCertificate", certificate);
}
void Simulator::SetAuthentication(const std::vector<std::string>& schemes) {
  impl_->host.Call("SetAuthentication", schemes);
}
void Simulator::DropConnections() {
  impl_->host.Call("DropConnections");
}
void Simulator::AddUser(const User& user) {
  impl_->host.Call("AddUser", user);
}
void Simulator::AddDirectoryContact(const DirectoryContact& contact) {
  impl_->host.Call("AddDirectoryContact", contact);
}
Id Simulator::AddMessage(const std::string& smtp_address, const std::string& folder, std::string mime) {
  return impl_->host.Call("AddMessage", smtp_address, folder, mime).get<Id>();
}
Id Simulator::AddItem(const std::string& smtp_address, const std::string& folder, const std::string& xml) {
  return impl_->host.Call("AddItem", smtp_address, folder, xml).get<Id>();
}
void Simulator::SetUserConfiguration(const std::string& smtp_address, const std::string& folder,
                                     const std::string& name, const std::string& xml_data) {
  impl_->host.Call("SetUserConfiguration", smtp_address, folder, name, xml_data);
}
Id Simulator::Deliver(const std::string& smtp_address, std::string mime) {
  return impl_->host.Call("Deliver", smtp_address, mime).get<Id>();
}
std::vector<std::string> Simulator::SentOutside() const {
  return impl_->host.Call("SentOutside").get<std::vector<std::string>>();
}
Id Simulator::Touch(const std::string& item_id) {
  return impl_->host.Call("Touch", item_id).get<Id>();
}
std::size_t Simulator::CountItems(const std::string& smtp_address, const std::string& folder) const {
  return impl_->host.Call("CountItems", smtp_address, folder).get<std::size_t>();
}
std::string Simulator::DumpItem(const std::string& item_id) const {
  return impl_->host.Call("DumpItem", item_id).get<std::string>();
}
std::size_t Simulator::CountSubscriptions() {
  return impl_->host.Call("CountSubscriptions").get<std::size_t>();
}
void Simulator::ForgetSubscriptions() {
  impl_->host.Call("ForgetSubscriptions");
}
void Simulator::SetBackEnd(const std::string& smtp_address, int back_end) {
  impl_->host.Call("SetBackEnd", smtp_address, back_end);
}
void Simulator::AddFault(Fault fault) {
  impl_->host.Call("AddFault", fault);
}
void Simulator::LoadScript(const std::string& file) {
  impl_->host.Call("LoadScript", file);
}
void Simulator::ClearFaults() {
  impl_->host.Call("ClearFaults");
}
std::size_t Simulator::PendingFaults() const {
  return impl_->host.Call("PendingFaults").get<std::size_t>();
}
Counters Simulator::GetCounters() const {
  return impl_->host.Call("GetCounters").get<Counters>();
}
std::vector<Exchange> Simulator::Exchanges() const {
  return impl_->host.Call("Exchanges").get<std::vector<Exchange>>();
}
void Simulator::ClearExchanges() {
  impl_->host.Call("ClearExchanges");
}

std::vector<std::string> VersionNames() {
  return Connection().Call("VersionNames").get<std::vector<std::string>>();
}
std::string VersionGaps(const std::string& version) {
  return Connection().Call("VersionGaps", version).get<std::string>();
}

}  // namespace velmore::simulator
