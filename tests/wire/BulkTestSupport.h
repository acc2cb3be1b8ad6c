#pragma once

// What the tests of operations on many share: mailboxes with many items, and what each request carried. Each test runs
// in both forms of requests; what went out in the schema's form is held against the published schema where it is at
// hand.

#include <algorithm>

#include "ews/bulk/uVqEWSBulk.h"
#include "tests/wire/SaveTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {

class BulkTest : public SaveTest, public ::testing::WithParamInterface<TVqEWSWireForm> {
 protected:
  explicit BulkTest(const std::string& version = "Exchange2016") : SaveTest(OptionsOf(version)) {
    Session().SetStrictSchema(IsStrict());
  }
  ~BulkTest() override {
    if (!IsStrict()) return;
    EXPECT_TRUE(Server().GetCounters().departures.empty());
    if (!HasPublishedSchema()) return;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty()) continue;
      EXPECT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
    }
  }
  static bool IsStrict() { return GetParam() == TVqEWSWireForm::schema; }

  TVqEWSBulk Bulk() {
    Store();
    return TVqEWSBulk(Session().OpenDefaultMsgStore());
  }
  TVqEWSBulk Bulk(std::size_t requestSize, std::int32_t connections = 1) {
    TVqEWSBulk bulk = Bulk();
    bulk.SetRequestSize(requestSize);
    bulk.SetConnections(connections);
    return bulk;
  }
  std::vector<TItemId> AddMessages(std::size_t count, const std::string& folder = "inbox") {
    std::vector<TItemId> ids;
    for (std::size_t i = 0; i < count; ++i) ids.push_back(AddMessage("Message " + std::to_string(i), folder));
    return ids;
  }
  static TItemId Unknown(const TItemId& id) { return {id.Id.Copy(0, id.Id.Length() - 8) + "AAAAAAA=", id.ChangeKey}; }
  void RemoveFromServer(const TItemId& id) { Store().GetItem(id)->GetParentFolder()->DeleteItem(id, dtHardDelete); }

  /// How many items each request of an operation carried, oldest first. `path` leads from the operation to one of them.
  std::vector<std::int32_t> SizesOf(const std::string& operation, const std::string& path) {
    std::vector<std::int32_t> sizes;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation != operation) continue;
      sizes.push_back(VqCreateDOM(exchange.request_body)
                          .CreateElementList("/Envelope/Body/" + string(operation) + "/" + path, kSelectQuiet)
                          .Count());
    }
    return sizes;
  }
  std::vector<std::int32_t> SizesOfGetItem() { return SizesOf("GetItem", "ItemIds/ItemId"); }

  /// An attribute in the last request of an operation, of an element below the operation's or, for an empty path, of
  /// that one.
  std::string Attribute(const std::string& operation, const std::string& path, const std::string& name) {
    const std::string whole = "/Envelope/Body/" + operation + (path.empty() ? "" : "/" + path);
    return VqCreateDOM(LastExchange(operation).request_body)
        .SelectSingleElement(whole, kSelectRequired)
        .GetAttribute(name)
        .utf8();
  }

  void BusyNext(const std::string& operation, int milliseconds, int times = 1, int skip = 0) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.soap_fault_code = "ErrorServerBusy";
    fault.back_off_milliseconds = milliseconds;
    fault.times = times;
    fault.skip = skip;
    Server().AddFault(fault);
  }

  static std::string CodeOfFailure(const TVqEWSResultBase& result) {
    const std::string text = result.FailureText().utf8();
    return text.substr(0, text.find(" ("));
  }
  template <typename T>
  static std::vector<std::string> CodesOf(const std::vector<T>& results) {
    std::vector<std::string> codes;
    for (const auto& result : results) codes.push_back(CodeOfFailure(result));
    return codes;
  }
  template <typename T>
  static std::size_t CountOf(const std::vector<T>& results) {
    return static_cast<std::size_t>(
        std::ranges::count_if(results, [](const auto& result) { return result.Succeeded(); }));
  }

 private:
  static simulator::Options OptionsOf(const std::string& version) {
    return IsStrict() ? Refusing(version) : KeepingAll(TwoUsers(version));
  }
  static simulator::Options KeepingAll(simulator::Options options) {
    options.keep_exchanges = 100000;
    return options;
  }
};

/// For INSTANTIATE_TEST_SUITE_P.
inline const auto kBothForms = ::testing::Values(TVqEWSWireForm::own, TVqEWSWireForm::schema);
inline std::string NameOfForm(const ::testing::TestParamInfo<TVqEWSWireForm>& info) {
  return info.param == TVqEWSWireForm::own ? "OwnForm" : "SchemasForm";
}

}  // namespace velmore::testing
