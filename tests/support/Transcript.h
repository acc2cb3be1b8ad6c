#pragma once

// A conversation in files, replayed: each request of the client is compared with the one that was written down, and
// gets the answer that was written down. The form is that of `velmore-ews-simulator --record DIR`, so that a recorded
// conversation is a transcript as it stands.
//
//   TranscriptServer server(folder);            // 000001-GetFolder.request.txt, 000001-GetFolder.response.txt, ...
//   session.SetServiceUrl(server.Url());
//   ... the client's work ...
//   EXPECT_EQ(server.Finish(), "");             // every request was the expected one, and none is missing or left over
//
// A test that does not ask fails nevertheless when something was wrong. docs/guide/simulator.md tells the form of the
// files.

#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ScriptedServer.h"

/// One request and its answer. Throws std::runtime_error when files cannot be read.
struct TranscriptExchange {
  using Headers = std::vector<std::pair<std::string, std::string>>;
  std::string Name;    // "000001-GetFolder"
  std::string Method;  // "POST"
  std::string Target;  // "/EWS/Exchange.asmx"
  Headers RequestHeaders;
  std::string RequestBody;
  int Status = 0;  // 0: the connection is closed instead
  Headers ResponseHeaders;
  std::string ResponseBody;
};

/// Reads the exchanges of a folder in the order of their names.
std::vector<TranscriptExchange> ReadTranscript(const std::string& directory);

/// What is different between an expected XML document and another one, in words; empty when nothing is. Element and
/// attribute order counts, prefixes and white space between elements do not; "****" stands for any text.
std::string XmlDifference(const std::string& expected, const std::string& actual);

class TranscriptServer {
 public:
  explicit TranscriptServer(const std::string& directory);
  /// Fails the running test when the conversation was not the one in the files and nobody has asked.
  ~TranscriptServer();

  std::string Url() const { return FServer.Url("/EWS/Exchange.asmx"); }
  /// What was wrong so far, and which requests have not come; empty when all is well. To be asked at the end.
  std::string Finish();

 private:
  ScriptedServer::Answer Next(const ScriptedServer::Request& request);
  std::string Compare(const TranscriptExchange& expected, const ScriptedServer::Request& request) const;

  std::mutex FMutex;  // protects what follows
  std::deque<TranscriptExchange> FExpected;
  std::string FComplaints;
  bool FAsked = false;
  ScriptedServer FServer;  // last, so that its threads end first
};
