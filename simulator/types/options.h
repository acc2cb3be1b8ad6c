#pragma once

/// The settings of a simulator, users included, and the exceptions that tell what is wrong with them.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmore::simulator {

/// What can go wrong in the simulator itself (a port in use, a seed folder that cannot be read, an unknown version
/// name). Refusals of requests never come this way: they are replies.
class SimulatorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A setting or a file that the simulator was given is wrong: an unknown version, a script with an error in it, a
/// folder without a schema, a damaged state file. The text tells the place.
class OptionError : public SimulatorError {
 public:
  using SimulatorError::SimulatorError;
};

/// What somebody may do in a folder of another mailbox.
enum class Access {
  kNone,      ///< sees nothing
  kReviewer,  ///< reads
  kAuthor,    ///< reads and creates; changes and deletes what the same user created
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

/// What a recipient takes, and what mail tips tell of that.
struct DeliveryRules {
  std::string mail_tip = {};                   ///< a text of the administrator's
  bool moderated = false;                      ///< somebody has to approve of messages first; they are delivered here
  std::vector<std::string> accepts_from = {};  ///< SMTP addresses; mail of others comes back; empty: everybody
  std::uint64_t max_message_bytes = 0;         ///< larger mail comes back; 0: no limit
};

/// When somebody works.
struct WorkHours {
  std::string days = "Monday Tuesday Wednesday Thursday Friday";  ///< names of the schema, blanks between
  /// Minutes since midnight.
  int start = 480;
  int end = 1020;
  int bias = 0;  ///< minutes to add to the time there to get UTC
};

/// Whom outside an administrator lets automatic answers reach.
enum class OutsideAnswers {
  kNone,   ///< nobody
  kKnown,  ///< whoever is among the contacts of the mailbox
  kAll,    ///< everybody
};

/// A person with a mailbox, or a room.
struct User {
  std::string name;          ///< log-on name; "DOMAIN\\name" and the SMTP address are accepted as well
  std::string smtp_address;  ///< primary address of the mailbox
  /// The name that people see, and the password with which the user logs on.
  std::string display_name;
  std::string password;
  std::vector<Grant> grants = {};  ///< rights in other mailboxes
  bool may_impersonate = false;    ///< may act as any other user through t:ExchangeImpersonation
  bool archive = false;            ///< has an archive mailbox beside the mailbox
  std::uint64_t quota_bytes = 0;   ///< what the mailbox may hold; 0: no limit
  std::string site = {};           ///< what Autodiscover tells as GroupingInformation; empty: the one usual name
  int back_end = 0;                ///< on which the mailbox lives, from 0
  bool room = false;               ///< stands for a place where people meet
  DeliveryRules delivery = {};     ///< what mail it takes
  WorkHours work_hours = {};       ///< told with free and busy times
  OutsideAnswers outside_answers = OutsideAnswers::kAll;  ///< at most, whatever the user asks for when he is away
  std::string photo = {};  ///< the picture's bytes; "painted": one in the size asked for; empty: none
};

/// An entry of the directory that has no mailbox here.
struct DirectoryContact {
  /// The address and the name that people see.
  std::string smtp_address;
  std::string display_name;
};

/// A distribution list of the directory. Mail to it goes to its members.
struct DirectoryList {
  /// The address and the name that people see.
  std::string smtp_address;
  std::string display_name;
  std::vector<std::string> members = {};  ///< addresses, those of other lists among them
  bool of_rooms = false;                  ///< told by GetRoomLists
  DeliveryRules delivery = {};            ///< what mail tips tell of it
};

/// Items to be made up for a folder, the same ones for the same number.
struct Fill {
  std::string mailbox;  ///< SMTP address, "public", or the address and "/archive"
  std::string folder = "inbox";
  /// How many.
  std::size_t count = 0;
};

/// Sends somebody who looks for the service of a mailbox elsewhere.
struct AutodiscoverRedirect {
  enum class Kind {
    kLocation,  ///< HTTP 302 for a host
    kAddress,   ///< an answer that names another address of the same mailbox (redirectAddr)
    kUrl,       ///< an answer that names another Autodiscover service (redirectUrl)
  };
  Kind kind = Kind::kLocation;
  std::string from;    ///< the host, empty for all; of the other kinds an address, or "@example.com" for a domain
  std::string target;  ///< where to
};

/// Which certificate the HTTPS side shows. All but the first are wrong in exactly one way.
enum class Certificate {
  kValid,  ///< issued by the simulator's own authority for localhost and 127.0.0.1
  kExpired,
  kNotYetValid,
  kUnknownIssuer,  ///< issued by another authority than that of CaCertificate()
  kSelfSigned,
  kWrongName,   ///< issued for mail.elsewhere.example
  kWrongUsage,  ///< good for clients only
  kRevoked,     ///< listed in CertificateRevocationListFile()
};

/// All settings, each with a default that suits a test.
struct Options {
  /// One of Exchange2007, Exchange2007_SP1, Exchange2009, Exchange2010, Exchange2010_SP1, Exchange2010_SP2,
  /// Exchange2012, Exchange2013, Exchange2013_SP1, Exchange2015, Exchange2016, V2015_10_05, V2016_01_06.
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
  std::vector<DirectoryList> lists = {};         ///< found by ResolveNames, expanded by ExpandDL
  std::vector<Fill> fills = {};                  ///< made up when the mailboxes are made
  std::uint64_t fill_seed = 1;                   ///< another number, other items
  /// Mail domains of this server besides the mailboxes': unknown addresses there bounce, and the certificate holds for
  /// them and their hosts, so that Autodiscover can be asked there.
  std::vector<std::string> domains = {};
  std::vector<AutodiscoverRedirect> autodiscover_redirects = {};  ///< the first that fits counts
  /// What Autodiscover tells as the address of the service; empty: that of the HTTPS side, or of HTTP where that is
  /// all.
  std::string external_url = {};
  /// An organisation in one file: users, rooms, lists, contacts, domains, rights, quotas, version, items to be made up.
  /// See docs/guide/simulator.md. The other settings here come on top; empty: nothing.
  std::string settings_file = {};
  std::string seed_directory = {};    ///< folders of .eml files per mailbox; see samples/README.md; empty: nothing
  std::string record_directory = {};  ///< writes every exchange as files there; empty: no files
  /// Schemes offered, in this order: Basic, NTLM (where GSSAPI has a module for it), Negotiate (with a keytab) and
  /// Bearer let in; any other is offered and lets nobody in.
  std::vector<std::string> authentication = {"Basic"};
  /// Keys of the service HTTP/..., for Negotiate by Kerberos; empty: Negotiate is only offered.
  std::string keytab_file = {};
  /// Passwords for NTLM, a line "DOMAIN:name:password" each; empty: those of the users, who name themselves "alice",
  /// "alice@example.com", "EXAMPLE\alice" or "example.com\alice".
  std::string ntlm_file = {};
  /// Over TLS, Negotiate and NTLM are refused when their tokens are bound to another certificate. True refuses those
  /// that are not bound to any, too.
  bool require_channel_binding = false;
  /// How long the tokens of /oauth2/token are good for.
  std::chrono::seconds token_lifetime{3600};
  /// Failures to be played, as a file: see docs/guide/simulator.md. Read by the constructor; empty: none.
  std::string script_file = {};
  /// Folder with messages.xsd and types.xsd as servers publish them. Requests that do not validate are refused with
  /// ErrorSchemaValidation, whatever accept_departures says. Empty: the simulator's own rules.
  std::string schema_directory = {};
  /// Keeps the mailboxes over a restart: read by the constructor when it exists, followed by what changes while the
  /// server runs, written anew by Stop(). One simulator has it at a time; the constructor waits a moment for another
  /// one that is ending, and raises OptionError. Holds the passwords of the users. Empty: nothing is kept.
  std::string state_file = {};
  /// How long after a change it is in the state file, at most, when the machine is not busy. Requests do not wait for
  /// it.
  std::chrono::milliseconds state_interval{250};
  bool browser_page = true;  ///< shows mailboxes and exchanges to a browser at "/", to anybody who can reach the port
  /// Names under which a browser may ask for that page, besides localhost and addresses in figures. Any other name is
  /// refused: it may be a stranger's page that was given this machine's address.
  std::vector<std::string> page_hosts = {};
  /// True accepts (and counts) the departures from the published schema that this library's own client makes at first;
  /// a server that validates refuses them, and so does this one otherwise.
  bool accept_departures = false;
  /// How many servers stand behind the one address. A request goes to the one that its cookie X-BackEndOverrideCookie
  /// names, else to that of the mailbox in X-AnchorMailbox, else to that of the acting user's mailbox; subscriptions
  /// are known where they were made.
  int back_ends = 1;
  std::chrono::milliseconds stream_keep_alive{30000};        ///< after which a quiet stream gives a sign of life
  std::chrono::milliseconds stream_minute{60000};            ///< how long a minute of m:ConnectionTimeout is
  std::chrono::milliseconds subscription_lifetime{1800000};  ///< without a connection; then it is forgotten
  int streams_per_user = 10;                                 ///< open at a time; one more is refused
  std::size_t kept_events = 10000;                           ///< of a subscription whose client is away
  int find_count_limit = 1000;                               ///< most rows of a page, whatever the request asks for
  int restricted_find_limit = 250;                           ///< most rows of a page when there is a restriction
  std::size_t max_request_bytes = 512u << 20;                ///< larger requests get HTTP 413
  std::size_t max_message_bytes = 384u << 20;                ///< larger items get ErrorMessageSizeExceeded
  bool gzip = true;                                          ///< compress replies when the client accepts it
  std::size_t chunk_bytes = 0;  ///< write replies in chunks of this many bytes; 0: with a Content-Length
  std::chrono::milliseconds idle_limit{120000};  ///< a connection that asks for nothing is closed after this time
  /// A request whose head is not complete after this time, or whose body stops coming for as long, ends its connection;
  /// so does a reply that the client does not take.
  std::chrono::milliseconds stall_limit{30000};
  std::size_t keep_exchanges = 1000;  ///< exchanges held in memory; the oldest go first
};

}  // namespace velmore::simulator
