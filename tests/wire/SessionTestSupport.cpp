#include "SessionTestSupport.h"

#include <typeinfo>

#include "platform/os/uVqDns.h"

namespace velmore::testing {
namespace {

/// No test asks the net for names: what is not there for one test is not there at all.
const bool kNoNames = [] {
  VqSetDnsFunctions({[](const std::string&, std::uint16_t, const TVqDnsOptions&, TVqDnsRecord*& records) {
                       records = nullptr;
                       return kVqDnsNoSuchName;
                     },
                     [](TVqDnsRecord*, std::int32_t) {}});
  return true;
}();

const std::string kNamespaces =
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\""
    " xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"";

void AddMessages(const std::exception& failure, std::vector<std::string>& messages) {
  messages.push_back(failure.what());
  try {
    std::rethrow_if_nested(failure);
  } catch (const std::exception& nested) {
    AddMessages(nested, messages);
  }
}

}  // namespace

SessionTest::Answer SessionTest::Http(const std::string& bytes) {
  Answer answer;
  answer.Bytes = bytes;
  return answer;
}

SessionTest::Answer SessionTest::Http(const std::string& status, const std::string& body, const std::string& headers) {
  return Http("HTTP/1.1 " + status + "\r\nContent-Type: text/xml; charset=utf-8\r\n" + headers +
              "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

std::string SessionTest::Envelope(const std::string& header, const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
         "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\">" +
         (header.empty() ? std::string() : "<s:Header>" + header + "</s:Header>") + "<s:Body>" + body +
         "</s:Body></s:Envelope>";
}

std::string SessionTest::VersionHeader(const Version& version) {
  return "<h:ServerVersionInfo MajorVersion=\"" + std::to_string(version.Major) + "\" MinorVersion=\"" +
         std::to_string(version.Minor) + "\" MajorBuildNumber=\"" + std::to_string(version.Build) +
         "\" MinorBuildNumber=\"" + std::to_string(version.MinorBuild) + "\"" +
         (version.Name.empty() ? std::string() : " Version=\"" + version.Name + "\"") +
         " xmlns:h=\"http://schemas.microsoft.com/exchange/services/2006/types\"/>";
}

SessionTest::Answer SessionTest::Reply(const std::string& operation, const std::string& messages) {
  return Http("200 OK", Envelope("", "<m:" + operation + "Response" + kNamespaces + "><m:ResponseMessages>" + messages +
                                         "</m:ResponseMessages></m:" + operation + "Response>"));
}

std::string SessionTest::Success(const std::string& operation, const std::string& content) {
  return "<m:" + operation + "ResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>" +
         content + "</m:" + operation + "ResponseMessage>";
}

std::string SessionTest::Refusal(const std::string& operation, const std::string& code, const std::string& text,
                                 const std::string& responseClass) {
  return "<m:" + operation + "ResponseMessage ResponseClass=\"" + responseClass + "\"><m:MessageText>" + text +
         "</m:MessageText><m:ResponseCode>" + code + "</m:ResponseCode></m:" + operation + "ResponseMessage>";
}

SessionTest::Answer SessionTest::ProbeAnswer(const Version& version) {
  return Http("200 OK", Envelope(VersionHeader(version), "<m:ConvertIdResponse" + kNamespaces + "/>"));
}

SessionTest::Answer SessionTest::SoapFault(const std::string& code, const std::string& text) {
  return Http("500 Internal Server Error", Envelope("", "<s:Fault><faultcode>s:Server</faultcode><faultstring>" + text +
                                                            "</faultstring><detail><e:ResponseCode xmlns:e=\"urn:e\">" +
                                                            code + "</e:ResponseCode></detail></s:Fault>"));
}

SessionTest::Answer SessionTest::StoreAnswer(const ScriptedServer::Request& request, const std::string& address) {
  const auto asks = [&](const char* operation) { return request.Body.find(operation) != std::string::npos; };
  if (asks("<m:GetFolder>"))
    return Reply("GetFolder", Success("GetFolder",
                                      "<m:Folders><t:Folder><t:FolderId Id=\"inbox\" ChangeKey=\"1\"/>"
                                      "<t:FolderClass>IPF.Note</t:FolderClass></t:Folder></m:Folders>"));
  if (asks("<m:ConvertId "))
    return Reply("ConvertId",
                 Success("ConvertId", "<m:AlternateId Format=\"EwsId\" Id=\"inbox\" Mailbox=\"" + address + "\"/>"));
  if (asks("<m:ResolveNames "))
    return Reply(
        "ResolveNames",
        Success("ResolveNames",
                "<m:ResolutionSet><t:Resolution><t:Mailbox><t:Name>Ann Arden</t:Name><t:EmailAddress>" + address +
                    "</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType>"
                    "<t:MailboxType>Mailbox</t:MailboxType></t:Mailbox></t:Resolution></m:ResolutionSet>"));
  return Reply("GetItem", Success("GetItem"));
}

void SessionTest::LogOn(const Version& version) {
  Server.Then(ProbeAnswer(version));
  Session.SetActive(true);
}

ScriptedServer::Request SessionTest::Request(std::size_t at) {
  const auto requests = Server.Requests();
  if (at < requests.size()) return requests[at];
  ADD_FAILURE() << "there were only " << requests.size() << " requests";
  return {};
}

ScriptedServer::Request SessionTest::LastRequest() {
  return Request(Server.Requests().size() - 1);
}

std::string SessionTest::Sent(const ScriptedServer::Request& request) {
  EXPECT_EQ(request.Method(), "POST");
  EXPECT_EQ(request.Header("Content-Type"), "text/xml; charset=utf-8");
  return VqCreateDOM(request.Body).GetDocumentElement().GetXMLAsUtf8();
}

std::string SessionTest::Expected(const std::string& header, const std::string& body) {
  return VqCreateDOM("<soap:Envelope" + kNamespaces + "><soap:Header>" + header + "</soap:Header><soap:Body>" + body +
                     "</soap:Body></soap:Envelope>")
      .GetDocumentElement()
      .GetXMLAsUtf8();
}

void SessionTest::ExpectUsable() {
  Server.Then(Reply("ConvertId", Success("ConvertId")));
  EXPECT_NO_THROW(Session.ConvertId({}, ifEwsId));
  EXPECT_EQ(Server.Complaints(), "");
}

std::string PlainMessageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const EVqException& failure) {
    EXPECT_EQ(typeid(failure), typeid(EVqException)) << failure.what();
    return failure.what();
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "another exception: " << failure.what();
    return {};
  }
  ADD_FAILURE() << "no exception";
  return {};
}

std::vector<std::string> NestedMessagesOf(const std::function<void()>& action) {
  std::vector<std::string> messages;
  try {
    action();
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& failure) {
    AddMessages(failure, messages);
  }
  return messages;
}

}  // namespace velmore::testing
