#pragma once

// Where the examples log on: the simulator by default, a real server with --url and --user, the one that is found by an
// address given with --address, and what a profile says with --profile. The password of a real account comes from the
// variable VELMORE_PASSWORD or from a prompt, never from the command line.

#include <memory>
#include <string>
#include <vector>

#include "ews/schema/uVqEWSTypes.h"

namespace velmore {
class TVqEWSCustomSession;
class TVqEWSProfileConfigFileContainer;
}  // namespace velmore
namespace velmore::simulator {
class Simulator;
}

class ExampleServer {
 public:
  /// Reads --url, --user, --address, --profile, --ca-file, --help and --NAME or --NAME=VALUE of the example's own.
  /// `usage` says what the example does. Ends the program after `--help` and for arguments that make no sense.
  ExampleServer(int argc, char** argv, const std::string& usage);
  ~ExampleServer();

  /// Gives the session its URL, credentials and trust; or the address, or the profile, by which it finds them. The
  /// session must not outlive this.
  void Configure(velmore::TVqEWSCustomSession& session) const;

  /// The SMTP address of the user (for a real server: what --user says).
  const std::string& Address() const { return address_; }
  bool Simulated() const { return simulator_ != nullptr; }
  /// Value of an option of the example's own ("filter" for --filter=VALUE or --filter VALUE); `otherwise` when it was
  /// not given.
  std::string Option(const std::string& name, const std::string& otherwise = {}) const;
  bool HasOption(const std::string& name) const;
  /// All values of an option that may be given several times.
  std::vector<std::string> OptionValues(const std::string& name) const;
  /// What --folder names, the inbox when it was left out. A name that no folder has is an error.
  velmore::TDistinguishedFolderIdName Folder() const;
  /// Arguments that are no options.
  const std::vector<std::string>& Arguments() const { return arguments_; }

 private:
  void UseNameServer(const std::string& address) const;

  std::string url_, user_, password_, address_, ca_file_;
  std::unique_ptr<velmore::TVqEWSProfileConfigFileContainer> profiles_;
  std::vector<std::pair<std::string, std::string>> options_;
  std::vector<std::string> arguments_;
  std::unique_ptr<velmore::simulator::Simulator> simulator_;
};
