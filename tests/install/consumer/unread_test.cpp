#include "unread.h"

#include <gtest/gtest.h>
#include <velmore/simulator.h>

class Unread : public testing::Test {
 protected:
  Unread() : server(Alice()) {
    server.Start();
    session.SetServiceUrl(server.HttpUrl());
    session.GetCredentials().SetUserName("alice");
    session.GetCredentials().SetPassword("wonder");
    session.SetActive(true);
  }
  static velmore::simulator::Options Alice() {
    velmore::simulator::Options options;
    options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
    return options;
  }

  velmore::simulator::Simulator server;
  velmore::TVqEWSServiceSession session;
};

TEST_F(Unread, ListsWhatNobodyHasRead) {
  server.Deliver("alice@example.com", "From: bob@example.com\r\nSubject: Lunch?\r\n\r\nToday?");
  EXPECT_EQ(UnreadSubjects(session), std::vector<std::string>{"Lunch?"});
}

TEST_F(Unread, TellsThatTheServerIsDown) {
  velmore::simulator::Fault down;
  down.http_status = 503;
  server.AddFault(down);
  EXPECT_THROW(UnreadSubjects(session), velmore::EVqException);
}
