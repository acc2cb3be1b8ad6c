#include "support/ExampleServer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileFile.h"
#include "platform/common/uVqSerializer.h"
#include "platform/os/uVqDns.h"
#include "simulator/simulator.h"
#include "support/PasswordPrompt.h"

namespace {

std::string ReadPassword(const std::string& user) {
  if (const char* variable = std::getenv("VELMORE_PASSWORD")) return variable;
  return PromptForPassword("Password of " + user + ": ");
}

}  // namespace

ExampleServer::ExampleServer(int argc, char** argv, const std::string& usage) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (!argument.starts_with("--")) {
      arguments_.push_back(argument);
      continue;
    }
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(2, equals == std::string::npos ? equals : equals - 2);
    std::string value;
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (i + 1 < argc && !std::string(argv[i + 1]).starts_with("--")) {
      value = argv[++i];
    }
    options_.emplace_back(name, value);
  }
  if (HasOption("help")) {
    std::cout << usage << "\n\n"
              << "Runs against the simulator, or with\n"
              << "  --url URL --user USER   against a server; the password comes from VELMORE_PASSWORD or a prompt\n"
              << "  --address ADDRESS       against the server that is found by a mailbox address (--user where the\n"
              << "                          name to log on with is another)\n"
              << "  --profile NAME          by a profile (--profile-file FILE where it is not the usual one)\n"
              << "  --ca-file FILE          trusting the authorities in a PEM file, too\n"
              << "  --connect-to HOST:PORT=ADDRESS:PORT\n"
              << "                          reaching a host elsewhere than name servers say; may be repeated\n"
              << "  --name-server ADDRESS   asking this one for service records\n"
              << "  --strict                requests in the form of the published schema from the first one\n";
    std::exit(0);
  }
  url_ = Option("url");
  ca_file_ = Option("ca-file");
  if (HasOption("name-server")) UseNameServer(Option("name-server"));
  if (HasOption("profile")) {
    profiles_ = std::make_unique<velmore::TVqEWSProfileConfigFileContainer>(nullptr);
    if (HasOption("profile-file")) profiles_->SetFilename(Option("profile-file"));
    return;
  }
  if (!url_.empty() || HasOption("address")) {
    user_ = Option("user", url_.empty() ? Option("address") : "");
    if (user_.empty()) {
      std::cerr << (url_.empty() ? "--address needs an address\n" : "--url needs --user\n");
      std::exit(2);
    }
    address_ = Option("address", user_);
    password_ = ReadPassword(user_);
    return;
  }
  velmore::simulator::Options options;
  if (std::filesystem::exists(std::string(VELMORE_SAMPLES) + "/users.json")) options.seed_directory = VELMORE_SAMPLES;
  if (options.seed_directory.empty()) options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
  simulator_ = std::make_unique<velmore::simulator::Simulator>(options);
  simulator_->Start();
  url_ = simulator_->HttpsUrl();
  user_ = "alice";
  password_ = "wonder";
  address_ = "alice@example.com";
  ca_file_ = simulator_->CaCertificateFile();
}

ExampleServer::~ExampleServer() = default;

void ExampleServer::Configure(velmore::TVqEWSCustomSession& session) const {
  if (profiles_) {
    session.SetProfileContainer(profiles_.get());
    session.SetProfileName(Option("profile"));
  } else {
    if (url_.empty()) session.SetAutodiscoverEMail(address_);
    session.SetServiceUrl(url_);
    session.GetCredentials().SetUserName(user_);
    session.GetCredentials().SetPassword(password_);
  }
  session.SetCAFile(ca_file_);
  session.SetStrictSchema(HasOption("strict"));
  std::map<velmore::string, velmore::string> hosts;
  for (const std::string& entry : OptionValues("connect-to")) {
    const std::size_t equals = std::min(entry.find('='), entry.size());
    hosts[entry.substr(0, equals)] = entry.substr(std::min(equals + 1, entry.size()));
  }
  session.SetConnectTo(hosts);
}

void ExampleServer::UseNameServer(const std::string& address) const {
  const velmore::TVqDnsFunctions system = velmore::VqGetDnsFunctions();
  velmore::TVqDnsFunctions mine = system;
  mine.DnsQuery_A = [system, address](const std::string& name, std::uint16_t type, velmore::TVqDnsOptions options,
                                      velmore::TVqDnsRecord*& records) {
    options.Servers = {address};
    return system.DnsQuery_A(name, type, options, records);
  };
  velmore::VqSetDnsFunctions(mine);
}

std::string ExampleServer::Option(const std::string& name, const std::string& otherwise) const {
  for (const auto& [key, value] : options_) {
    if (key == name) return value;
  }
  return otherwise;
}

velmore::TDistinguishedFolderIdName ExampleServer::Folder() const {
  const std::string name = Option("folder", "inbox");
  const auto folder = velmore::VqTextToEnum<velmore::TDistinguishedFolderIdName>(name);
  // A text that is no name reads as the first one.
  if (velmore::VqEnumToText(folder) != name)
    throw velmore::EVqException("There is no folder \"" + velmore::string(name) + "\".");
  return folder;
}

bool ExampleServer::HasOption(const std::string& name) const {
  for (const auto& option : options_) {
    if (option.first == name) return true;
  }
  return false;
}

std::vector<std::string> ExampleServer::OptionValues(const std::string& name) const {
  std::vector<std::string> values;
  for (const auto& [key, value] : options_) {
    if (key == name) values.push_back(value);
  }
  return values;
}
