// Includes nothing else: a program that includes this one header can work with a pair of clients of its own.
#include "ews/VelmoreEWS.h"

#include <gtest/gtest.h>

namespace velmore {
namespace {

TEST(Umbrella, SeparateClientsAreWholeTypes) {
  TVqEWSServiceSession session;
  session.SetServiceUrl("http://127.0.0.1:9/");
  session.CheckHTTPClient();
  const auto http = session.CreateHTTPClient(true);
  const std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
  EXPECT_EQ(soap->CreateRequest("m:GetItem", "")->GetMethod().GetLocalName(), "GetItem");
  EXPECT_EQ(&soap->GetCredentials(), &http->GetCredentials());
}

}  // namespace
}  // namespace velmore
