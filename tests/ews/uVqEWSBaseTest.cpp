// Includes nothing else: what applications derive from is declared by this header alone.
#include "ews/model/uVqEWSBase.h"

#include <gtest/gtest.h>

namespace velmore {
namespace {

/// An object of an application's own, over a record.
class TNote : public TVqEWSPropObject<TEwsItem> {
 public:
  TNote(TVqComponent* ASession, const IVqDOMElement& AElement) : TVqEWSPropObject(ASession, true) {
    SetPropData(AElement);
  }
  using TVqEWSPropObject::NewData;
  using TVqEWSPropObject::OldData;
};

class TNoSession : public TVqEWSBaseSession {
 public:
  TNoSession() : TVqEWSBaseSession(nullptr) {}
  TVqCredentials& GetCredentials() override { return FCredentials; }
  string GetServiceURL() override { return {}; }
  TServerVersion GetServerVersion() override { return Exchange2016; }
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool) override { return {}; }
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>&) override { return nullptr; }
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient*, const string&, const string&) override { return {}; }
  void CheckResponseError(const IVqDOMElement&) override {}

 private:
  TVqCredentials FCredentials;
};

TEST(PropObject, OfAnApplicationHasBothRecords) {
  TNoSession session;
  const auto note =
      MakeRef<TNote>(&session, VqCreateDOM("<t:Item><t:Subject>a</t:Subject></t:Item>").GetDocumentElement());
  note->NewData().SetSubject("b");
  EXPECT_EQ(note->NewData().GetSubject(), "b");
  EXPECT_EQ(note->OldData().GetSubject(), "a");
  EXPECT_EQ(note->GetProperties().Count(), 1);
  EXPECT_TRUE(note->GetProperties().GetItem(0).GetModified());
}

}  // namespace
}  // namespace velmore
