#include "support/ExampleServer.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

#ifndef _WIN32
#include <termios.h>
#include <unistd.h>
#endif

#include "ews/session/uVqEWS.h"
#include "platform/common/uVqSerializer.h"
#include "simulator/simulator.h"

namespace {

std::string ReadPassword(const std::string& user) {
  if (const char* variable = std::getenv("VELMORE_PASSWORD")) return variable;
  std::cerr << "Password of " << user << ": ";
  std::string password;
#ifdef _WIN32
  std::getline(std::cin, password);
#else
  termios shown{};
  const bool terminal = tcgetattr(STDIN_FILENO, &shown) == 0;
  termios hidden = shown;
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  std::getline(std::cin, password);
  if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
  std::cerr << '\n';
#endif
  return password;
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
              << "  --ca-file FILE          trusting the authorities in a PEM file, too\n"
              << "  --strict                requests in the form of the published schema from the first one\n";
    std::exit(0);
  }
  url_ = Option("url");
  if (!url_.empty()) {
    user_ = Option("user");
    if (user_.empty()) {
      std::cerr << "--url needs --user\n";
      std::exit(2);
    }
    address_ = Option("address", user_);
    ca_file_ = Option("ca-file");
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
  session.SetServiceUrl(url_);
  session.GetCredentials().SetUserName(user_);
  session.GetCredentials().SetPassword(password_);
  session.SetCAFile(ca_file_);
  session.SetStrictSchema(HasOption("strict"));
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
