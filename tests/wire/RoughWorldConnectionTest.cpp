// What servers, proxies and networks do to requests and replies: each is one clear exception, or is not noticed at all,
// and the session is usable afterwards.

#include <set>

#include "SessionTestSupport.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

// ---- A server that says what the test tells it to

class RoughWorldConnection : public SessionTest {
 protected:
  RoughWorldConnection() { LogOn(); }

  void Ask() { Session.ConvertId(ifEwsId, "1", "a@b", ifHexEntryId); }
  static Answer GoodReply() { return Reply("ConvertId", Success("ConvertId")); }
  static Answer Closing(std::string bytes) {
    Answer answer = Http(std::move(bytes));
    answer.Close = true;
    return answer;
  }

  /// The next request gets this answer and raises a T; the one behind it is a proper exchange.
  template <typename T, typename TCheck>
  void Expect(const Answer& answer, TCheck check) {
    Server.Then(answer);
    ExpectRaised<T>([&] { Ask(); }, check);
    ExpectUsable();
  }
  void ExpectNumber(const Answer& answer, std::set<std::uint32_t> numbers) {
    Expect<EVqHTTPException>(answer, [&](const EVqHTTPException& failure) {
      EXPECT_TRUE(numbers.contains(failure.GetNumber())) << failure.GetNumber() << ": " << failure.what();
    });
  }
  /// The failure that this answer makes is one that a server can be the reason of. Its class.
  std::string ClassOf(const Answer& answer) {
    Server.Then(answer);
    std::string name = "none";
    try {
      Ask();
    } catch (const EVqHTTPException&) {
      name = "EVqHTTPException";
    } catch (const EVqXMLError&) {
      name = "EVqXMLError";
    } catch (const std::exception& failure) {
      ADD_FAILURE() << failure.what();
    }
    // Who asks while the connection is being closed may meet its end; that is another case.
    if (answer.Close) {
      EXPECT_TRUE(Server.WaitFor([&] { return Server.OpenConnections() == 0; }));
    }
    return name;
  }
};

TEST_F(RoughWorldConnection, Status200WithAnEmptyBody) {
  Expect<EVqHTTPException>(Http("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"), [](const EVqHTTPException& failure) {
    EXPECT_EQ(failure.GetNumber(), 200u);
    EXPECT_STREQ(failure.what(), "The server answered \"200 OK\" with an empty body instead of a SOAP envelope.");
  });
}

TEST_F(RoughWorldConnection, Status500WithAFault) {
  Expect<EVqSOAPFault>(SoapFault("ErrorInternalServerError", "Something went wrong."), [](const EVqSOAPFault& fault) {
    EXPECT_EQ(fault.HTTPStatus(), 500);
    EXPECT_EQ(fault.ResponseCode(), "ErrorInternalServerError");
    EXPECT_EQ(fault.FaultString(), "Something went wrong.");
    EXPECT_STREQ(fault.what(), "Something went wrong. (ErrorInternalServerError)");
  });
}

TEST_F(RoughWorldConnection, Status503) {
  Expect<EVqHTTPException>(Http("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n"),
                           [](const EVqHTTPException& failure) {
                             EXPECT_EQ(failure.GetNumber(), 503u);
                             EXPECT_EQ(dynamic_cast<const EVqServerBusy&>(failure).GetRetryAfter(), 0);
                           });
}

TEST_F(RoughWorldConnection, Status302ToAnotherHost) {
  ScriptedServer other;
  other.Always([](const ScriptedServer::Request&) { return GoodReply(); });
  TVqCredentials credentials;
  credentials.SetUserName("ann");
  credentials.SetPassword("secret");
  Session.SetCredentials(credentials);
  Expect<EVqHTTPException>(
      Http("HTTP/1.1 302 Found\r\nLocation: " + other.Url("/owa?ticket=1", "localhost") +
           "\r\nContent-Length: 0\r\n\r\n"),
      [&](const EVqHTTPException& failure) {
        EXPECT_EQ(failure.GetNumber(), 302u);
        EXPECT_NE(std::string(failure.what()).find(other.Url("/owa", "localhost")), std::string::npos)
            << failure.what();
      });
  EXPECT_EQ(other.Connections(), 0) << "nobody asked the other host, least of all with a password";
}

TEST_F(RoughWorldConnection, TwoFaultsInOneReply) {
  const std::string two =
      "<s:Fault><faultcode>s:Server</faultcode><faultstring>The first.</faultstring></s:Fault>"
      "<s:Fault><faultcode>s:Client</faultcode><faultstring>The second.</faultstring></s:Fault>";
  for (const char* status : {"500 Internal Server Error", "200 OK"}) {
    Expect<EVqSOAPFault>(Http(status, Envelope("", two)), [](const EVqSOAPFault& fault) {
      EXPECT_EQ(fault.FaultString(), "The first.");
      EXPECT_EQ(fault.FaultCode(), "s:Server");
    });
  }
}

TEST_F(RoughWorldConnection, FaultThatLacksItsDetail) {
  Expect<EVqSOAPFault>(
      Http("500 Internal Server Error",
           Envelope("", "<s:Fault><faultcode>s:Client</faultcode><faultstring>No.</faultstring></s:Fault>")),
      [](const EVqSOAPFault& fault) {
        EXPECT_EQ(fault.Detail(), "");
        EXPECT_EQ(fault.ResponseCode(), "");
        EXPECT_EQ(fault.BackOffMilliseconds(), 0);
        EXPECT_NE(std::string(fault.what()).find("No."), std::string::npos);
      });
  Expect<EVqSOAPFault>(Http("500 Internal Server Error", Envelope("", "<s:Fault/>")),
                       [](const EVqSOAPFault& fault) { EXPECT_STRNE(fault.what(), ""); });
}

/// One of the forms in which a server asks to be left alone for 4 seconds.
struct TThrottling {
  const char* Name;
  ScriptedServer::Answer Answer;
};

TEST_F(RoughWorldConnection, ThrottlingInItsThreeFormsIsOneExceptionWithTheHint) {
  const std::string value =
      "<t:Value xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\" "
      "Name=\"BackOffMilliseconds\">4000</t:Value>";
  const std::string fault =
      "<s:Fault><faultcode>a:ErrorServerBusy</faultcode><faultstring>Busy.</faultstring><detail><e:ResponseCode "
      "xmlns:e=\"urn:e\">ErrorServerBusy</e:ResponseCode><t:MessageXml xmlns:t=\"urn:t\">" +
      value + "</t:MessageXml></detail></s:Fault>";
  const std::string message =
      "<m:ConvertIdResponseMessage ResponseClass=\"Error\"><m:MessageText>Busy.</m:MessageText><m:ResponseCode>"
      "ErrorServerBusy</m:ResponseCode><m:DescriptiveLinkKey>0</m:DescriptiveLinkKey><m:MessageXml>" +
      value + "</m:MessageXml></m:ConvertIdResponseMessage>";
  const TThrottling forms[] = {
      {"a fault", Http("500 Internal Server Error", Envelope("", fault))},
      {"a response message", Reply("ConvertId", message)},
      {"a status", Http("HTTP/1.1 503 Service Unavailable\r\nRetry-After: 4\r\nContent-Length: 0\r\n\r\n")},
      {"another status", Http("HTTP/1.1 429 Too Many Requests\r\nRetry-After: 4\r\nContent-Length: 0\r\n\r\n")},
  };
  for (const TThrottling& form : forms) {
    SCOPED_TRACE(form.Name);
    Server.Then(form.Answer);
    try {
      Ask();
      ADD_FAILURE() << "no exception";
    } catch (const EVqServerBusy& busy) {
      EXPECT_EQ(busy.GetRetryAfter(), 4000);
      EXPECT_STRNE(busy.Failure().what(), "");
    }
    ExpectUsable();
  }
}

// Basic has no handshake that could be made anew: what is refused is refused, and told. The next request is another
// try.
TEST_F(RoughWorldConnection, Status401InTheMiddleOfASessionWithBasic) {
  const Answer refusal =
      Http("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
  TVqCredentials credentials;
  credentials.SetUserName("ann");
  credentials.SetPassword("right");
  Session.SetCredentials(credentials);
  Server.Then(refusal).Then(GoodReply());
  Ask();  // a challenge, and its answer
  const std::size_t before = Server.Requests().size();
  Server.Then(refusal);
  ExpectRaised<EVqHTTPApiException>([&] { Ask(); },
                                    [](const EVqHTTPApiException& failure) { EXPECT_EQ(failure.GetNumber(), 12015u); });
  EXPECT_EQ(Server.Requests().size(), before + 1) << "a password is not offered again to who has refused it";
  Server.Then(GoodReply());
  EXPECT_NO_THROW(Ask());
  EXPECT_EQ(Server.Complaints(), "");
}

TEST_F(RoughWorldConnection, KeptConnectionClosedBetweenTwoRequests) {
  for (int i = 0; i < 5; ++i) {
    Server.CloseConnections();
    Server.Then(GoodReply());
    EXPECT_NO_THROW(Ask());
  }
  EXPECT_EQ(Server.Requests().size(), 6u) << "each request came once";
  EXPECT_EQ(Server.Complaints(), "");
}

TEST_F(RoughWorldConnection, RequestThatWasNotProcessedIsSentAgainOnceOnly) {
  // The kept connection is gone, which is no failure; the new one ends without a reply, which is one.
  Server.CloseConnections();
  const int before = Server.Connections();
  Server.Then(Closing(""));
  ExpectRaised<EVqHTTPApiException>([&] { Ask(); },
                                    [](const EVqHTTPApiException& failure) { EXPECT_EQ(failure.GetNumber(), 12030u); });
  EXPECT_EQ(Server.Connections(), before + 1);
  EXPECT_EQ(Server.Requests().size(), 2u) << "the probe, and this request once";
  ExpectUsable();
}

TEST_F(RoughWorldConnection, RequestThatWasPossiblyProcessedIsNotRepeated) {
  for (const bool reset : {false, true}) {
    const std::size_t before = Server.Requests().size();
    Answer gone;
    gone.Close = !reset;
    gone.Reset = reset;
    Server.Then(gone);  // on the kept connection, with the request read to its end
    ExpectRaised<EVqHTTPApiException>(
        [&] { Ask(); },
        [](const EVqHTTPApiException& failure) {
          EXPECT_EQ(failure.GetNumber(), 12030u);
          EXPECT_NE(std::string(failure.what()).find("was not sent again"), std::string::npos) << failure.what();
        });
    EXPECT_EQ(Server.Requests().size(), before + 1);
    ExpectUsable();
  }
}

TEST_F(RoughWorldConnection, ReplyCutAtEveryByte) {
  const std::string whole = GoodReply().Bytes;
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(ClassOf(Closing(whole.substr(0, length))), "EVqHTTPException") << "cut at byte " << length;
  }
  EXPECT_GT(whole.size(), 400u);
  ExpectUsable();
}

TEST_F(RoughWorldConnection, ReplyWithoutALengthCutAtEveryByte) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nConnection: close\r\n\r\n";
  const std::string good = GoodReply().Bytes;
  const std::string body = good.substr(good.find("\r\n\r\n") + 4);
  std::set<std::string> classes;
  for (std::size_t length = 0; length < body.size(); ++length) {
    const std::string name = ClassOf(Closing(head + body.substr(0, length)));
    EXPECT_NE(name, "none") << "cut at byte " << length;
    classes.insert(name);
  }
  EXPECT_EQ(classes, (std::set<std::string>{"EVqHTTPException", "EVqXMLError"}));
  EXPECT_EQ(ClassOf(Closing(head + body)), "none") << "whole, it is a reply";
  ExpectUsable();
}

TEST_F(RoughWorldConnection, WrongContentLength) {
  const std::string good = GoodReply().Bytes;
  const std::string body = good.substr(good.find("\r\n\r\n") + 4);
  const auto with = [&](const std::string& lengths) {
    return Closing("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n" + lengths + "\r\n" + body);
  };
  const auto line = [](std::size_t length) { return "Content-Length: " + std::to_string(length) + "\r\n"; };
  EXPECT_EQ(ClassOf(with(line(body.size() + 1))), "EVqHTTPException") << "one byte is missing";
  EXPECT_EQ(ClassOf(with(line(body.size() - 1))), "EVqXMLError") << "one byte is not part of it";
  EXPECT_EQ(ClassOf(with(line(1))), "EVqHTTPException") << "no envelope";
  EXPECT_EQ(ClassOf(with("Content-Length: 99999999999999999999999\r\n")), "none")
      << "no number: the connection's end tells";
  EXPECT_EQ(ClassOf(with("Content-Length: -5\r\n")), "EVqHTTPException");
  EXPECT_EQ(ClassOf(with("Content-Length: soon\r\n")), "EVqHTTPException");
  ExpectUsable();
}

TEST_F(RoughWorldConnection, WhatIsLeftOfALongerReplyIsNoAnswerToTheNextRequest) {
  const std::string good = GoodReply().Bytes;
  const std::string body = good.substr(good.find("\r\n\r\n") + 4);
  Answer longer =
      Http("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body + Reply("ConvertId", Refusal("ConvertId", "ErrorOfNobody", "Smuggled.")).Bytes);
  for (int i = 0; i < 3; ++i) {
    Server.Then(longer);
    EXPECT_NO_THROW(Ask());
    Server.Then(GoodReply());
    EXPECT_NO_THROW(Ask()) << "the reply that nobody asked for";
  }
}

TEST_F(RoughWorldConnection, ChunkedGarbage) {
  const std::string good = GoodReply().Bytes;
  const std::string body = good.substr(good.find("\r\n\r\n") + 4);
  char size[16];
  std::snprintf(size, sizeof size, "%zx", body.size());
  const auto chunked = [](const std::string& chunks) {
    return Closing("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks);
  };
  EXPECT_EQ(ClassOf(chunked(std::string(size) + "\r\n" + body + "\r\n0\r\n\r\n")), "none") << "a proper one";
  for (const std::string& chunks : {
           std::string("zz\r\n" + body + "\r\n0\r\n\r\n"),                  // no number
           std::string("-5\r\n" + body + "\r\n0\r\n\r\n"),                  // below nothing
           std::string("fffffffffffffffff\r\n" + body),                     // beyond every number
           std::string(std::string(size) + "\r\n" + body + "xx0\r\n\r\n"),  // no end of line behind the chunk
           std::string(std::string(size) + "\r\n" + body + "\r\n"),         // no last chunk
           std::string(std::string(size) + "\r\n" + body.substr(0, 50)),    // cut in the chunk
           std::string("\r\n\r\n"),
           std::string("0\r\n\r\n"),  // nothing in it
       })
    EXPECT_EQ(ClassOf(chunked(chunks)), "EVqHTTPException") << chunks.substr(0, 60);
  ExpectUsable();
}

TEST_F(RoughWorldConnection, BytesThatAreNoHttp) {
  for (const std::string& bytes :
       {std::string("220 mail.example.com ESMTP\r\n"), std::string("\x16\x03\x01\x02\x00\x01", 6),
        std::string("\0\0\0\0", 4), std::string("HTTP/9.9 200 OK\r\n\r\n"), std::string("HTTP/1.1 abc\r\n\r\n"),
        std::string(100000, 'x')})
    EXPECT_EQ(ClassOf(Closing(bytes)), "EVqHTTPException") << bytes.substr(0, 20);
  ExpectUsable();
}

// ---- A simulator, and what it has done

class RoughWorldSaving : public SaveTest {};

TEST_F(RoughWorldSaving, RequestThatWasPossiblyProcessedIsNotRepeated) {
  const auto drafts = Folder(dfindrafts);
  for (const Cut where : {Cut::after, Cut::within}) {
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject("Once");
    const std::size_t before = Server().CountItems(kAlice, "drafts");
    CutNext("CreateItem", where);
    EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqHTTPException);
    EXPECT_EQ(Server().CountItems(kAlice, "drafts"), before + 1) << "the server has done it, and once only";
  }
}

TEST_F(RoughWorldSaving, MessageWhoseReplyWasLostIsSentOnce) {
  const auto mail = NewMail();
  mail->GetToRecipients()->Add("bob@example.com");
  CutNext("CreateItem", Cut::after);
  EXPECT_THROW(mail->SubmitMessage(false), EVqHTTPException);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(RoughWorldSaving, KeptConnectionClosedBetweenTwoRequests) {
  const auto drafts = Folder(dfindrafts);
  for (int i = 0; i < 5; ++i) {
    Server().DropConnections();
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject("One of five");
    EXPECT_NO_THROW(mail->SaveChanges(soAutoResolve));
  }
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 5u);
}

// ---- Certificates

class RoughWorldCertificate : public EWSTest {};

TEST_F(RoughWorldCertificate, ChangesInTheMiddleOfASession) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetServiceUrl(Server().HttpsUrl());
  session.SetCAFile(Server().CaCertificateFile());
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();
  // Another good one, as after a renewal: not noticed.
  Server().SetCertificate(simulator::Certificate::kValid);
  Server().DropConnections();
  EXPECT_NO_THROW(store->GetFolderId(dfininbox));
  const std::pair<simulator::Certificate, std::uint32_t> wrong[] = {{simulator::Certificate::kUnknownIssuer, 12045u},
                                                                    {simulator::Certificate::kExpired, 12037u},
                                                                    {simulator::Certificate::kWrongName, 12038u},
                                                                    {simulator::Certificate::kWrongUsage, 12179u}};
  for (const auto& [certificate, number] : wrong) {
    Server().SetCertificate(certificate);
    EXPECT_NO_THROW(store->GetFolderId(dfininbox)) << "the connection that was made with the good one goes on";
    Server().DropConnections();
    Forget();
    ExpectRaised<EVqHTTPApiException>([&] { store->GetFolderId(dfininbox); },
                                      [&, expected = number](const EVqHTTPApiException& failure) {
                                        EXPECT_EQ(failure.GetNumber(), expected) << failure.what();
                                      });
    EXPECT_EQ(Operations().size(), 0u) << "nothing is said to who cannot prove his name";
    Server().SetCertificate(simulator::Certificate::kValid);
    EXPECT_NO_THROW(store->GetFolderId(dfininbox)) << "and when it is right again, so is the session";
  }
}

}  // namespace
}  // namespace velmore::testing
