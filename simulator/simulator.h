#pragma once

/// An Exchange server in memory, on loopback, for demonstrations and tests.
///
///     velmore::simulator::Options options;
///     options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}, {"bob", "bob@example.com", "Bob Birch", "builder"}};
///     velmore::simulator::Simulator server(options);
///     server.Start();
///     server.AddMessage("alice@example.com", "inbox", "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello Alice");
///     // ... talk to server.HttpUrl() as user "alice" with password "wonder" ...
///
/// The server speaks HTTP and HTTPS on ports that the system chooses, keeps its mailboxes in memory and forgets them when
/// it goes away, unless a state file is named. A browser sees mailboxes and exchanges at "/". All texts are UTF-8.

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmore::simulator {

/// What can go wrong in the simulator itself (a port in use, a seed folder that cannot be read, an unknown version name).
/// Refusals of requests never come this way: they are replies.
class SimulatorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A setting or a file that the simulator was given is wrong: an unknown version, a script with an error in it, a folder
/// without a schema, a damaged state file. The text tells the place.
class OptionError : public SimulatorError {
 public:
  using SimulatorError::SimulatorError;
};

/// What somebody may do in a folder of another mailbox.
enum class Access {
  kNone,      ///< sees nothing
  kReviewer,  ///< reads
  kAuthor,    ///< reads, creates, changes and deletes what he created
  kEditor,    ///< reads, creates, changes and deletes
  kOwner,     ///< everything, subfolders included
};

/// A right of a user in another user's mailbox.
struct Grant {
  std::string mailbox;  ///< SMTP address of the mailbox that is opened
  std::string folder;   ///< distinguished name ("calendar"), or empty for the whole mailbox
  /// What it allows.
  Access access = Access::kReviewer;
};

/// A person with a mailbox.
struct User {
  std::string name;          ///< log-on name; "DOMAIN\\name" and the SMTP address are accepted as well
  std::string smtp_address;  ///< primary address of the mailbox
  /// The name that people see, and what the user logs on with.
  std::string display_name;
  std::string password;
  std::vector<Grant> grants = {};  ///< rights in other mailboxes
  bool may_impersonate = false;    ///< may act as any other user through t:ExchangeImpersonation
};

/// An entry of the directory that has no mailbox here.
struct DirectoryContact {
  /// The address and the name that people see.
  std::string smtp_address;
  std::string display_name;
};

/// Which certificate the HTTPS side shows. All but the first are wrong in exactly one way.
enum class Certificate {
  kValid,  ///< issued by the simulator's own authority for localhost and 127.0.0.1
  kExpired,
  kNotYetValid,
  kUnknownIssuer,  ///< issued by an authority that CaCertificate() does not tell
  kSelfSigned,
  kWrongName,   ///< issued for mail.elsewhere.example
  kWrongUsage,  ///< good for clients only
  kRevoked,     ///< listed in CertificateRevocationList()
};

/// All settings, each with a default that suits a test.
struct Options {
  /// One of Exchange2007, Exchange2007_SP1, Exchange2009, Exchange2010, Exchange2010_SP1, Exchange2010_SP2, Exchange2012,
  /// Exchange2013, Exchange2013_SP1, Exchange2015, Exchange2016, V2015_10_05, V2016_01_06.
  std::string version = "Exchange2016";
  std::string address = "127.0.0.1";  ///< where to listen
  /// Which of the two listen; with neither, nothing does.
  bool http = true;
  bool https = true;
  std::uint16_t http_port = 0;   ///< 0: the system chooses
  std::uint16_t https_port = 0;  ///< 0: the system chooses
  /// What the HTTPS side shows at first.
  Certificate certificate = Certificate::kValid;
  std::vector<User> users = {};                  ///< those of users.json in the seed folder come on top
  std::vector<DirectoryContact> directory = {};  ///< found by ResolveNames beside the users
  std::string seed_directory = {};    ///< folders of .eml files per mailbox; see samples/README.md; empty: nothing
  std::string record_directory = {};  ///< writes every exchange as files there; empty: no files
  std::vector<std::string> authentication = {"Basic"};  ///< schemes offered, in this order
  /// Failures to be played, as a file: see docs/guide/simulator.md. Read by the constructor; empty: none.
  std::string script_file = {};
  /// Folder with messages.xsd and types.xsd as servers publish them. Requests that do not validate are refused with
  /// ErrorSchemaValidation, whatever accept_departures says. Empty: the simulator's own rules.
  std::string schema_directory = {};
  /// Keeps the mailboxes over a restart: read by the constructor when it exists, written after changes while the server runs,
  /// and by Stop(). Holds the passwords of the users. Empty: nothing is kept.
  std::string state_file = {};
  /// How long after a change the state file is written; longer when the mailboxes are so large that writing takes a tenth of it.
  std::chrono::milliseconds state_interval{1000};
  bool browser_page = true;  ///< shows mailboxes and exchanges to a browser at "/", to anybody who can reach the port
  /// False refuses the departures from the published schema that this library's own client makes, as a server would.
  bool accept_departures = true;
  int find_count_limit = 1000;                 ///< rows of a page at most, whatever the request asks for
  int restricted_find_limit = 250;             ///< rows of a page at most when there is a restriction
  std::size_t max_request_bytes = 512u << 20;  ///< larger requests get HTTP 413
  std::size_t max_message_bytes = 384u << 20;  ///< larger items get ErrorMessageSizeExceeded
  bool gzip = true;                            ///< compress replies when the client accepts it
  std::size_t keep_exchanges = 1000;           ///< exchanges held in memory; the oldest go first
};

/// Counts what happened; see Simulator::Counters.
struct Counters {
  std::uint64_t connections = 0;                    ///< accepted, HTTP and HTTPS together
  std::uint64_t requests = 0;                       ///< HTTP requests read to their end
  std::map<std::string, std::uint64_t> operations;  ///< by operation, "GetItem"
  /// Departures from the schema, by name; with a schema folder also those that were then refused.
  std::map<std::string, std::uint64_t> departures;
  std::uint64_t refused = 0;  ///< requests refused for the order or content of their elements
};

/// One request and its reply as they went over the wire (bodies before compression, secrets masked).
struct Exchange {
  std::uint64_t number = 0;  ///< 1 for the first
  std::string method;        ///< "POST"
  std::string target;        ///< "/EWS/Exchange.asmx"
  std::string operation;     ///< "GetItem"; empty when the body is no SOAP request
  std::string user;          ///< log-on name; empty when not authenticated
  bool secure = false;       ///< came over HTTPS
  /// Name and value, in the order of the wire; a value that holds a secret is masked. The body is as it was before
  /// compression.
  std::vector<std::pair<std::string, std::string>> request_headers;
  std::string request_body;
  int status = 0;  ///< HTTP status of the reply; 0 when the connection was cut before it
  /// The same of the reply: all of it, also where the connection was cut on its way.
  std::vector<std::pair<std::string, std::string>> response_headers;
  std::string response_body;

  /// Value of a request header, compared without case; empty when absent.
  std::string RequestHeader(std::string_view name) const;
};

/// A failure to be played once (or several times) instead of, or on top of, the proper reply. Faults are kept in a queue; a
/// request takes the first that fits its operation.
struct Fault {
  std::string operation = {};  ///< "GetItem", or empty for any; compared without case
  int skip = 0;                ///< lets so many fitting requests pass first
  int times = 1;               ///< plays so often; negative: for ever
  bool execute = false;        ///< carry the operation out although its reply is replaced or lost

  std::chrono::milliseconds delay{0};  ///< waits before replying; ends early when the simulator stops

  // Replaces the reply; the first that is set counts.
  int http_status = 0;               ///< e.g. 503; with `body` and `headers`; 401 offers the schemes if no header does
  std::string soap_fault_code = {};  ///< e.g. "ErrorServerBusy": HTTP 500 with a SOAP fault of that code
  std::string response_code = {};    ///< e.g. "ErrorItemNotFound": a response message of that code
  bool warning = false;              ///< with response_code: ResponseClass "Warning" instead of "Error"
  std::string message_text = {};     ///< text of the fault or response message
  int back_off_milliseconds = 0;     ///< back-off hint of ErrorServerBusy, 0: none
  bool replace_body = false;         ///< answer HTTP 200 with `body` as it stands (garbage, HTML, nothing)

  /// What is answered, byte for byte, and its "Content-Type"; with an HTTP status or `replace_body`.
  std::string body = {};
  std::string content_type = {};
  std::vector<std::pair<std::string, std::string>> headers = {};  ///< added to whatever is answered

  // What happens to the bytes of the reply.
  bool close_before_reply = false;  ///< ends the connection instead of answering
  std::int64_t cut_at_byte = -1;    ///< ends the connection after so many bytes of the whole reply, head included
  bool close_after_reply = false;   ///< ends the connection behind the reply without having said so
  std::size_t piece_size = 0;       ///< writes the reply in pieces of so many bytes; 0: at once

  // What is different from then on.
  std::optional<Certificate> certificate = {};                  ///< shown to connections made later
  std::optional<std::vector<std::string>> authentication = {};  ///< schemes offered to requests that come later
};

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
  /// Reads the seed, the script and the state; opens nothing yet. Raises SimulatorError for what
  /// cannot be read, and its kind OptionError for what is wrong.
  explicit Simulator(Options options = {});
  ~Simulator();  ///< stops the server
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Running

  void Start();  ///< opens the ports; the seed was read by the constructor
  /// Ends all connections and threads, also those that wait in a delay; mailboxes stay, and go to the state file if there
  /// is one. Raises, after everything has ended, when that cannot be written.
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
  /// Delivers a MIME message to the inbox as if it came from outside: received now, unread.
  Id Deliver(const std::string& smtp_address, std::string mime);
  /// Changes an item behind the back of the client under test: its change key moves. Throws when there is no such item.
  Id Touch(const std::string& item_id);
  /// Number of items in a folder; 0 when there is no such folder.
  std::size_t CountItems(const std::string& smtp_address, const std::string& folder) const;
  /// XML of an item with all that the simulator holds of it, for assertions; empty when there is no such item.
  std::string DumpItem(const std::string& item_id) const;

  // Failures

  /// Puts a failure behind those that wait.
  void AddFault(Fault fault);
  /// Adds the faults of a script behind those that wait, and shows its certificate and schemes. Raises OptionError with the
  /// place when something in the file is wrong; then nothing of it counts.
  void LoadScript(const std::string& file);
  /// Forgets those that wait; certificate and schemes stay.
  void ClearFaults();
  std::size_t PendingFaults() const;  ///< faults that still wait for their requests

  // Observation

  /// What happened since the start; counting never begins anew.
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
/// What a version lacks of what the newest has: operations, folders, properties. A few lines of text; empty for the newest
/// ones. Raises OptionError for an unknown name.
std::string VersionGaps(const std::string& version);

}  // namespace velmore::simulator
