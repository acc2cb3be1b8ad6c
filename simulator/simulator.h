#pragma once

/// An Exchange server in memory, on loopback, for demonstrations and tests.
///
///     velmore::simulator::Options options;
///     options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"},
///                      {"bob", "bob@example.com", "Bob Birch", "builder"}};
///     velmore::simulator::Simulator server(options);
///     server.Start();
///     server.AddMessage("alice@example.com", "inbox", "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello Alice");
///     // ... talk to server.HttpUrl() as user "alice" with password "wonder" ...
///
/// The server speaks HTTP and HTTPS on ports that the system chooses, keeps its mailboxes in memory and forgets them
/// when it goes away, unless a state file is named. A browser sees mailboxes and exchanges at "/". All texts are UTF-8.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "simulator/types/exchange.h"
#include "simulator/types/fault.h"
#include "simulator/types/options.h"

namespace velmore::simulator {

/// Id and change key of an item or folder.
struct Id {
  /// As requests and replies have them.
  std::string id;
  std::string change_key;
};

/// The server. Owns its threads, sockets and mailboxes; cannot be copied. Every operation may be called from any thread
/// while the server runs. Failures raise SimulatorError.
class Simulator {
 public:
  /// Reads the seed, the script and the state; opens nothing yet. Raises SimulatorError for what cannot be read, and
  /// OptionError, which is one, for what is wrong.
  explicit Simulator(Options options = {});
  ~Simulator();  ///< stops the server
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Running

  void Start();  ///< opens the ports; the seed was read by the constructor
  /// Ends all connections and threads, also those that wait in a delay; mailboxes stay, and go to the state file if
  /// there is one. Raises, after everything has ended, when that file cannot be written.
  void Stop();
  /// True between Start and Stop.
  bool Running() const;

  std::string HttpUrl() const;   ///< "http://127.0.0.1:PORT/EWS/Exchange.asmx"; empty when HTTP is off or not started
  std::string HttpsUrl() const;  ///< "https://localhost:PORT/EWS/Exchange.asmx"
  /// The ports that were opened; 0 when that side is off or not started.
  std::uint16_t HttpPort() const;
  std::uint16_t HttpsPort() const;
  std::string CaCertificate() const;                  ///< PEM text of the authority that clients are to trust
  std::string CaCertificateFile() const;              ///< the same in a file, removed by the destructor
  std::string CertificateRevocationListFile() const;  ///< PEM file, lists the certificate of Certificate::kRevoked
  /// Shows another certificate to connections from now on.
  void SetCertificate(Certificate certificate);
  /// Offers other authentication schemes to requests from now on.
  void SetAuthentication(const std::vector<std::string>& schemes);
  /// Ends all open connections; new ones are accepted.
  void DropConnections();

  // Mailboxes

  /// Makes a mailbox with its folders. Raises SimulatorError for an address that is there already.
  void AddUser(const User& user);
  /// Adds an entry that ResolveNames finds.
  void AddDirectoryContact(const DirectoryContact& contact);
  /// Puts a MIME message into a folder, named by its distinguished name ("inbox") or by a path below the top of the
  /// mailbox ("Projects/2026"), which is made when absent.
  Id AddMessage(const std::string& smtp_address, const std::string& folder, std::string mime);
  /// Puts an item into a folder from XML as CreateItem takes it: "<t:Contact>...</t:Contact>" with the prefix t bound
  /// to the types namespace by the simulator.
  Id AddItem(const std::string& smtp_address, const std::string& folder, const std::string& xml);
  /// Sets a user configuration of a folder, such as the list of categories ("calendar", "CategoryList"), to these
  /// bytes.
  void SetUserConfiguration(const std::string& smtp_address, const std::string& folder, const std::string& name,
                            const std::string& xml_data);
  /// Delivers a MIME message to the inbox as if it came from outside: received now, unread.
  Id Deliver(const std::string& smtp_address, std::string mime);
  /// What was sent to addresses that have no mailbox here, as MIME texts without their blind copies, oldest first; of
  /// the last thousand messages.
  std::vector<std::string> SentOutside() const;
  /// Changes an item behind the back of the client under test: its change key moves. Throws when there is no such item.
  Id Touch(const std::string& item_id);
  /// Number of items in a folder; 0 when there is no such folder.
  std::size_t CountItems(const std::string& smtp_address, const std::string& folder) const;
  /// XML of an item with all that the simulator holds of it, for assertions; empty when there is no such item.
  std::string DumpItem(const std::string& item_id) const;

  // Notifications

  /// Number of the subscriptions that are known.
  std::size_t CountSubscriptions();
  /// Forgets all subscriptions, as a server that was started anew; their streams end with an error.
  void ForgetSubscriptions();
  /// Moves a mailbox to another back end, from the next request on; its subscriptions are not known there.
  void SetBackEnd(const std::string& smtp_address, int back_end);

  // Failures

  /// Puts a failure after those that wait.
  void AddFault(Fault fault);
  /// Adds the faults of a script after those that wait, and shows the script's certificate and schemes. Raises
  /// OptionError with the place when something in the file is wrong; then nothing of it counts.
  void LoadScript(const std::string& file);
  /// Forgets the faults that wait; certificate and schemes stay.
  void ClearFaults();
  /// Faults that still wait for their requests. The certificate and the schemes of one that no longer waits are in
  /// force.
  std::size_t PendingFaults() const;

  // Observation

  /// What has happened since the start; the counts are never reset.
  Counters GetCounters() const;
  std::vector<Exchange> Exchanges() const;  ///< oldest first
  /// Forgets the exchanges in memory; files and counters stay.
  void ClearExchanges();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The names that Options::version takes, oldest first.
std::vector<std::string> VersionNames();
/// What a version lacks that the newest has: operations, folders, properties. A few lines of text; empty for the newest
/// ones. Raises OptionError for an unknown name.
std::string VersionGaps(const std::string& version);

}  // namespace velmore::simulator
