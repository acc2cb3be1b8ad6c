#pragma once

// Tests that run in both forms of requests: every request is valid against the published schema in the second.

#include "tests/wire/MailboxTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {

/// Alice's mailbox, with a session that sends the library's own forms (false) or the schema's (true).
class BothFormsTest : public MailboxTest, public ::testing::WithParamInterface<bool> {
 protected:
  explicit BothFormsTest(const std::string& version = "Exchange2016")
      : MailboxTest(GetParam() ? Refusing(version) : TwoUsers(version)) {
    Session().SetStrictSchema(GetParam());
  }
  ~BothFormsTest() override {
    if (!GetParam()) return;
    EXPECT_EQ(Server().GetCounters().refused, 0u);
    if (!HasPublishedSchema()) return;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty()) continue;
      EXPECT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
    }
  }
};

inline std::string FormOf(const ::testing::TestParamInfo<bool>& form) {
  return form.param ? "SchemaForm" : "OwnForm";
}

}  // namespace velmore::testing
