// velmore-ews-simulator-host: simulators for programs that run beside it and cannot have one in their own process (a
// Windows program under Wine). Prints "VELMORE_SIMULATOR_HOST=127.0.0.1:PORT" and serves until its standard input ends.
//
//     velmore-ews-simulator-host

#include <boost/asio/io_context.hpp>

#include <csignal>
#include <cstddef>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "simulator/remote/wire.h"

namespace {

using boost::asio::ip::tcp;
using nlohmann::json;
using namespace velmore::simulator;

using Operation = std::function<json(std::unique_ptr<Simulator>&, const json& arguments)>;

/// An operation of the class as one of the wire: arguments out of the array, the result in.
template <typename Result, typename... Arguments, typename Method, std::size_t... Places>
Operation Bound(Method method, std::index_sequence<Places...>) {
  return [method](std::unique_ptr<Simulator>& simulator, const json& arguments) -> json {
    if (!simulator) throw SimulatorError("There is no simulator on this connection.");
    const auto call = [&] {
      return (*simulator.*method)(arguments.at(Places).get<std::remove_cvref_t<Arguments>>()...);
    };
    if constexpr (std::is_void_v<Result>) {
      call();
      return nullptr;
    } else {
      return call();
    }
  };
}
template <typename Result, typename... Arguments>
Operation Of(Result (Simulator::*method)(Arguments...)) {
  return Bound<Result, Arguments...>(method, std::index_sequence_for<Arguments...>());
}
template <typename Result, typename... Arguments>
Operation Of(Result (Simulator::*method)(Arguments...) const) {
  return Bound<Result, Arguments...>(method, std::index_sequence_for<Arguments...>());
}

/// A field that the wire does not know would be lost without a word.
template <typename... Records>
void CheckRecords() {
  const auto check = [](std::size_t fields, std::size_t known, const char* name) {
    if (fields != known) throw std::logic_error(std::string(name) + ": the wire does not have all fields, see wire.h");
  };
  (check(remote::CountFields<Records>(), json(Records{}).size(), typeid(Records).name()), ...);
}

const std::map<std::string, Operation>& Operations() {
  static const std::map<std::string, Operation> operations = {
      {"Simulator",
       [](std::unique_ptr<Simulator>& simulator, const json& arguments) -> json {
         simulator = std::make_unique<Simulator>(arguments.at(0).get<Options>());
         return nullptr;
       }},
      {"End",
       [](std::unique_ptr<Simulator>& simulator, const json&) -> json {
         simulator.reset();
         return nullptr;
       }},
      {"Start", Of(&Simulator::Start)},
      {"Stop", Of(&Simulator::Stop)},
      {"Running", Of(&Simulator::Running)},
      {"HttpUrl", Of(&Simulator::HttpUrl)},
      {"HttpsUrl", Of(&Simulator::HttpsUrl)},
      {"HttpPort", Of(&Simulator::HttpPort)},
      {"HttpsPort", Of(&Simulator::HttpsPort)},
      {"CaCertificate", Of(&Simulator::CaCertificate)},
      {"CaCertificateFile", Of(&Simulator::CaCertificateFile)},
      {"CertificateRevocationListFile", Of(&Simulator::CertificateRevocationListFile)},
      {"SetCertificate", Of(&Simulator::SetCertificate)},
      {"SetAuthentication", Of(&Simulator::SetAuthentication)},
      {"DropConnections", Of(&Simulator::DropConnections)},
      {"AddUser", Of(&Simulator::AddUser)},
      {"AddDirectoryContact", Of(&Simulator::AddDirectoryContact)},
      {"AddMessage", Of(&Simulator::AddMessage)},
      {"AddItem", Of(&Simulator::AddItem)},
      {"SetUserConfiguration", Of(&Simulator::SetUserConfiguration)},
      {"Deliver", Of(&Simulator::Deliver)},
      {"SentOutside", Of(&Simulator::SentOutside)},
      {"Touch", Of(&Simulator::Touch)},
      {"CountItems", Of(&Simulator::CountItems)},
      {"DumpItem", Of(&Simulator::DumpItem)},
      {"CountSubscriptions", Of(&Simulator::CountSubscriptions)},
      {"ForgetSubscriptions", Of(&Simulator::ForgetSubscriptions)},
      {"SetBackEnd", Of(&Simulator::SetBackEnd)},
      {"AddFault", Of(&Simulator::AddFault)},
      {"LoadScript", Of(&Simulator::LoadScript)},
      {"ClearFaults", Of(&Simulator::ClearFaults)},
      {"PendingFaults", Of(&Simulator::PendingFaults)},
      {"GetCounters", Of(&Simulator::GetCounters)},
      {"Exchanges", Of(&Simulator::Exchanges)},
      {"ClearExchanges", Of(&Simulator::ClearExchanges)},
      {"VersionNames", [](std::unique_ptr<Simulator>&, const json&) -> json { return VersionNames(); }},
      {"VersionGaps",
       [](std::unique_ptr<Simulator>&, const json& arguments) -> json {
         return VersionGaps(arguments.at(0).get<std::string>());
       }},
  };
  return operations;
}

json Answer(std::unique_ptr<Simulator>& simulator, const json& call) {
  try {
    return {{"result", Operations().at(call.at(0).get<std::string>())(simulator, call.at(1))}};
  } catch (const OptionError& failure) {
    return {{"option_error", failure.what()}};
  } catch (const std::exception& failure) {
    return {{"error", failure.what()}};
  }
}

void Serve(tcp::socket socket) {
  std::unique_ptr<Simulator> simulator;
  try {
    socket.set_option(tcp::no_delay(true));
    for (;;) remote::Write(socket, Answer(simulator, remote::Read(socket)));
  } catch (const boost::system::system_error&) {
    // The program is gone, and its simulator goes with it.
  } catch (const std::exception& failure) {
    std::cerr << "velmore-ews-simulator-host: " << failure.what() << '\n';
  }
}

}  // namespace

int main() {
  CheckRecords<Grant, DeliveryRules, WorkHours, User, DirectoryContact, DirectoryList, Fill, AutodiscoverRedirect,
               Options, Fault, Counters, Exchange, Id>();
  std::signal(SIGPIPE, SIG_IGN);
  boost::asio::io_context context;
  tcp::acceptor acceptor(context, {boost::asio::ip::address_v4::loopback(), 0});
  std::cout << remote::kHostVariable << "=127.0.0.1:" << acceptor.local_endpoint().port() << std::endl;
  std::thread([&] {
    for (;;) std::thread(Serve, acceptor.accept()).detach();
  }).detach();
  std::string line;
  while (std::getline(std::cin, line)) {
  }
  std::quick_exit(0);  // simulators that are still there go with the process
}
