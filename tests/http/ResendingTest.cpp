// Whether a request may have been read before its connection went: the table of the rule. That the table speaks of real
// connections is shown by the tests of Connection and of ResendingOnTheWire.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/http/curl/uVqCurlResend_p.h"

using namespace velmore;

namespace {

struct Row {
  const char* Story;
  TVqLostConnection Connection;
  bool MayHaveBeenRead;
};

constexpr Row kRows[] = {
    {"nothing known but that all went out", {.BodyTotal = 10, .BodyTaken = 10}, true},
    {"no body: the head went out", {}, true},
    {"half of the body was never taken", {.BodyTotal = 10, .BodyTaken = 5}, false},
    {"half of the body, and the server confirmed all that it got",
     {.BodyTotal = 10, .BodyTaken = 9, .TcpKnown = true, .ClosedByServer = true, .Sent = 100, .Acknowledged = 100},
     false},
    {"a handshake's first message", {.BodyAtHome = true}, false},
    {"closed before the request came in",
     {.BodyTotal = 10, .BodyTaken = 10, .TcpKnown = true, .ClosedByServer = true, .Sent = 300, .Acknowledged = 200},
     false},
    {"closed one byte too early",
     {.BodyTotal = 10, .BodyTaken = 10, .TcpKnown = true, .ClosedByServer = true, .Sent = 300, .Acknowledged = 299},
     false},
    {"closed when all had come in",
     {.BodyTotal = 10, .BodyTaken = 10, .TcpKnown = true, .ClosedByServer = true, .Sent = 300, .Acknowledged = 300},
     true},
    {"all came in, some of it twice",
     {.BodyTotal = 10,
      .BodyTaken = 10,
      .TcpKnown = true,
      .ClosedByServer = true,
      .Sent = 350,
      .Repeated = 50,
      .Acknowledged = 300},
     true},
    {"reset: the acknowledgement says nothing",
     {.BodyTotal = 10, .BodyTaken = 10, .TcpKnown = true, .Sent = 300, .Acknowledged = 200},
     true},
    {"over TLS, all but the goodbye was confirmed",
     {.BodyTotal = 10,
      .BodyTaken = 10,
      .Tls = true,
      .TcpKnown = true,
      .ClosedByServer = true,
      .Sent = 324,
      .Acknowledged = 300},
     true},
    {"over TLS, what is missing is more than a goodbye",
     {.BodyTotal = 10,
      .BodyTaken = 10,
      .Tls = true,
      .TcpKnown = true,
      .ClosedByServer = true,
      .Sent = 600,
      .Acknowledged = 300},
     false},
    {"over TLS, as much as a goodbye at most",
     {.Tls = true, .TcpKnown = true, .ClosedByServer = true, .Sent = 428, .Acknowledged = 300},
     true},
};

}  // namespace

TEST(Resending, TheRuleRowByRow) {
  for (const Row& row : kRows) EXPECT_EQ(VqMayHaveBeenRead(row.Connection), row.MayHaveBeenRead) << row.Story;
}

TEST(Resending, WhatIsNoTcpConnectionTellsNothing) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  TVqLostConnection connection;
  VqAskTcp(pair[0], connection);
  EXPECT_FALSE(connection.TcpKnown);
  VqAskTcp(-1, connection);
  EXPECT_FALSE(connection.TcpKnown);
  for (const int end : pair) close(end);
}
