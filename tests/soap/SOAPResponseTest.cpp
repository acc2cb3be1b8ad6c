// What is found in a reply, whatever prefixes the server chose.

#include "SOAPTestSupport.h"

namespace velmore::testing {
namespace {

TVqRef<TVqSOAPResponse> Read(std::string bytes, const string& name = {}) {
  return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
}

TEST(SOAPResponse, PrefixesOfTheTwoNamespacesAreSettled) {
  const auto response =
      Read("<s:Envelope xmlns:s=\"" + std::string(kSoap11) + "\"><s:Body><GetItemResponse xmlns=\"" + kMessages +
           "\" xmlns:q=\"" + kTypes +
           "\"><Items><q:Message><q:Subject>x</q:Subject></q:Message></Items></GetItemResponse></s:Body>"
           "</s:Envelope>");
  const IVqDOMElement message =
      response->GetResponse().SelectSingleElement("m:Items/t:Message", TVqDOMSelectOptions(1));
  EXPECT_EQ(message.GetFirstChildElement().GetQualifiedName(), "t:Subject");
  EXPECT_EQ(response->GetResponse().GetQualifiedName(), "m:GetItemResponse");
}

TEST(SOAPResponse, ServerThatUsesOurPrefixesTheOtherWayRoundIsUnderstood) {
  const auto response = Read("<s:Envelope xmlns:s=\"" + std::string(kSoap11) + "\" xmlns:t=\"" + kMessages +
                             "\" xmlns:m=\"" + kTypes + "\"><s:Body><t:R><m:Subject/></t:R></s:Body></s:Envelope>");
  EXPECT_EQ(response->GetResponse().GetQualifiedName(), "m:R");
  EXPECT_EQ(response->GetResponse().GetFirstChildElement().GetQualifiedName(), "t:Subject");
}

TEST(SOAPResponse, EnvelopeIsFoundWhateverItsPrefixAndCase) {
  const auto response = Read("<x:envelope xmlns:x=\"" + std::string(kSoap11) +
                             "\"><x:HEADER><a/></x:HEADER><x:body><m:R/></x:body></x:envelope>");
  EXPECT_TRUE(response->HasHeader());
  EXPECT_EQ(response->GetHeader().GetFirstChildElement().GetLocalName(), "a");
  EXPECT_EQ(response->GetBody().GetLocalName(), "body");
  EXPECT_EQ(response->GetResponse().GetLocalName(), "R");
  EXPECT_FALSE(response->GetIsFault());
}

TEST(SOAPResponse, NamedResponseIsTakenElseTheFirst) {
  const std::string bytes = Envelope("<a:First xmlns:a=\"urn:a\"/><a:Second xmlns:a=\"urn:a\"/>");
  EXPECT_EQ(Read(bytes)->GetResponse().GetLocalName(), "First");
  EXPECT_EQ(Read(bytes, "Second")->GetResponse().GetLocalName(), "Second");
  EXPECT_EQ(Read(bytes, "m:Second")->GetResponse().GetLocalName(), "Second");
  ExpectFailure<EVqException>(
      [&] { Read(bytes, "m:Third")->GetResponse(); },
      [](const EVqException& failure) { EXPECT_STREQ(failure.what(), "The reply holds no \"m:Third\"."); });
}

TEST(SOAPResponse, EmptyBodyHasNoResponse) {
  ExpectFailure<EVqException>(
      [] { Read(Envelope(""))->GetResponse(); },
      [](const EVqException& failure) { EXPECT_STREQ(failure.what(), "The body of the reply is empty."); });
}

TEST(SOAPResponse, HeaderMayBeMissing) {
  const auto response = Read(Envelope("<m:R/>"));
  EXPECT_FALSE(response->HasHeader());
  EXPECT_FALSE(response->GetHeader());
}

TEST(SOAPResponse, ArgumentsAreChildrenOfTheResponse) {
  const auto response = Read(Envelope("<m:R><m:Result>1</m:Result></m:R>"));
  EXPECT_TRUE(response->HasArgument("Result"));
  EXPECT_EQ(response->GetArgument("Result").GetText(), "1");
  EXPECT_FALSE(response->HasArgument("Other"));
  EXPECT_THROW(response->GetArgument("Other"), EVqException);
}

TEST(SOAPResponse, FaultIsSeenInBothVersions) {
  EXPECT_TRUE(Read(Envelope("<s:Fault/>"))->GetIsFault());
  EXPECT_TRUE(Read(Envelope("<s:Fault/>", kSoap12))->GetIsFault());
}

TEST(SOAPResponse, HandlesOutliveIt) {
  auto response = Read(Envelope("<m:R>text</m:R>"));
  const IVqDOMElement element = response->GetResponse();
  response = nullptr;
  EXPECT_EQ(element.GetText(), "text");
}

TEST(SOAPResponse, DamageIsToldWithItsPlace) {
  ExpectFailure<EVqXMLError>([] { Read("<s:Envelope>\n<s:Body></s:Envelope>"); },
                             [](const EVqXMLError& failure) {
                               EXPECT_EQ(failure.GetLine(), 2);
                               EXPECT_GT(failure.GetColumn(), 1);
                             });
}

}  // namespace
}  // namespace velmore::testing
