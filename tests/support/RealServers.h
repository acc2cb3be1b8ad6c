#pragma once

// Servers of other makers, run for one test on loopback: MIT's Kerberos ticket server and the Apache web server with
// its GSSAPI module. Each lives in a folder of its own with its own configuration and is gone with its object; nothing
// of the machine's own services is touched. Debian: krb5-kdc, krb5-user, apache2-bin, libapache2-mod-auth-gssapi,
// gss-ntlmssp.
//
// Knows nothing of the library, like ScriptedServer.

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// A folder that every user of the machine can read, gone with its object.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  const std::string& Path() const { return FPath; }
  std::string PathOf(const std::string& name) const { return FPath + "/" + name; }
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;
  std::string Read(const std::string& name) const;

 private:
  std::string FPath;
};

/// Environment variables of this process, as they were before at the end.
class TestEnvironment {
 public:
  explicit TestEnvironment(const std::vector<std::pair<std::string, std::string>>& variables);
  ~TestEnvironment();
  TestEnvironment(const TestEnvironment&) = delete;
  TestEnvironment& operator=(const TestEnvironment&) = delete;

 private:
  std::vector<std::pair<std::string, std::string>> FBefore;
  std::vector<std::string> FUnset;
};

/// The realm VELMORE.TEST with the services HTTP/localhost (for servers) and the users that a test adds.
class TestRealm {
 public:
  /// What is missing on this machine, with the package's name; empty when nothing is.
  static std::string Missing();

  TestRealm();
  ~TestRealm();
  TestRealm(const TestRealm&) = delete;
  TestRealm& operator=(const TestRealm&) = delete;

  /// `options` are those of kadmin's addprinc: "-maxlife \"10 seconds\"".
  void AddUser(const std::string& name, const std::string& password, const std::string& options = "");
  /// For clients: where the realm is. Tickets on file are looked for in the realm's folder; there are none until
  /// LogOnAs.
  std::vector<std::pair<std::string, std::string>> ClientEnvironment() const;
  /// Puts a ticket on file, as a person at the machine does it, and takes it away again.
  void LogOnAs(const std::string& name, const std::string& password);
  void LogOff();
  std::string ConfigFile() const { return FFolder.PathOf("krb5.conf"); }
  std::string KeyTab() const { return FFolder.PathOf("keytab"); }
  /// Requests for tickets answered so far, "AS_REQ" and "TGS_REQ" together.
  int TicketsIssued() const;
  /// Logons with a wrong password so far.
  int PasswordsRefused() const;

  /// The environment of a client that knows no realm and asks nobody for one.
  static std::vector<std::pair<std::string, std::string>> NoRealm(const TestFolder& folder);

 private:
  void Run(const std::string& command) const;

  TestFolder FFolder;
  pid_t FServer = -1;
};

/// A web server on a free port of 127.0.0.1, called "localhost".
class TestApache {
 public:
  /// What is missing on this machine, with the package's name; empty when nothing is.
  static std::string Missing();

  struct Settings {
    std::string Server;  // directives of the server
    std::string Root;    // directives of <Location "/">: how to log on, who may come in
    std::vector<std::pair<std::string, std::string>> Environment;
    std::string Certificate, Key;      // PEM; not empty: TLS
    std::vector<std::string> Modules;  // beside the usual ones: "auth_gssapi"
  };
  /// A request as the access log tells it.
  struct Request {
    int Connection = 0;  // the client's port, which tells connections apart
    int Status = 0;
    std::string User;       // who it was, "-" for nobody
    std::string Scheme;     // what stood in its Authorization header: "Negotiate", "-" for none
    std::string Mechanism;  // as the GSSAPI module tells: "Negotiate/krb5", "-" where it was not asked
    std::string Line;       // "POST /EWS/Exchange.asmx HTTP/1.1"
  };

  /// Raises std::runtime_error with the server's own words when it does not start.
  explicit TestApache(const Settings& settings);
  ~TestApache();
  TestApache(const TestApache&) = delete;
  TestApache& operator=(const TestApache&) = delete;

  std::uint16_t Port() const { return FPort; }
  /// "http://localhost:port" or "https://localhost:port" and the path.
  std::string Url(const std::string& path = "/") const;
  /// The access log, read once it holds `atLeast` lines, or after ten seconds: a line is written behind its reply.
  std::vector<Request> Log(std::size_t atLeast) const;
  /// The same, read once `answered` of its lines are no refusals (401, 407): how many steps a logon takes is not always
  /// known.
  std::vector<Request> LogOfAnswers(std::size_t answered) const;
  std::string ErrorLog() const { return FFolder.Read("error.log"); }
  const TestFolder& Folder() const { return FFolder; }
  /// As an administrator does it ("apachectl graceful"); returns when the idle connections of old are closed.
  void RestartGracefully();

 private:
  bool Start();
  std::vector<Request> ReadLog() const;
  int EstablishedConnections() const;

  Settings FSettings;
  TestFolder FFolder;
  std::uint16_t FPort = 0;
  pid_t FServer = -1;
};
