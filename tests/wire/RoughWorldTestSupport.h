#pragma once

// A job of many operations, and what stands between it and the simulator: whatever rewrites the replies on their way.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <regex>
#include <string>

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/support/ScriptedServer.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {

/// A reply as it came from the simulator.
struct TRawReply {
  std::string Head;  // status line and headers, without the empty line
  std::string Body;
};

/// Sends bytes to a port of this machine and gives all that comes back until the connection ends.
inline TRawReply AskRaw(std::uint16_t port, const std::string& bytes) {
  const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string reply;
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const auto now = ::send(handle, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (now <= 0) break;
      sent += static_cast<std::size_t>(now);
    }
    std::string buffer(1 << 16, '\0');
    for (ssize_t got = 0; (got = ::recv(handle, buffer.data(), buffer.size(), 0)) > 0;)
      reply.append(buffer, 0, static_cast<std::size_t>(got));
  }
  ::close(handle);
  const std::size_t end = reply.find("\r\n\r\n");
  if (end == std::string::npos) return {reply, ""};
  return {reply.substr(0, end), reply.substr(end + 4)};
}

inline std::string Replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
    text.replace(at, what.size(), with);
  return text;
}

class RoughWorldTest : public SaveTest {
 protected:
  using Answer = ScriptedServer::Answer;
  using Rewrite = std::function<std::string(std::string)>;

  RoughWorldTest() {
    AddItem(
        "inbox",
        "<t:Message><t:Subject>Gr\xC3\xBC\xC3\x9F"
        "e \xF0\x9F\x98\x80</t:Subject><t:Sensitivity>Private</t:Sensitivity><t:Body "
        "BodyType=\"HTML\">&lt;p&gt;H\xC3\xA9llo "
        "&amp;amp; \xE2\x82\xAC&lt;/p&gt;</t:Body><t:Attachments><t:FileAttachment><t:Name>a.txt</t:Name><t:Content>" +
            VqBase64Encode("content of a") +
            "</t:Content></t:FileAttachment></t:Attachments><t:Categories><t:String>Red</t:String>"
            "</t:Categories><t:ToRecipients><t:Mailbox><t:Name>Alice Arden</t:Name><t:EmailAddress>"
            "alice@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>");
    AddMessage("Second");
    AddMessage("Third");
  }

  /// What the job learned, as text without ids and times. It reads, searches, loads, loads lazily, fetches an
  /// attachment, saves, resolves and converts.
  std::string Job(TVqEWSCustomSession& session) {
    std::string told;
    const auto tell = [&told](const string& text) { told += text.utf8() + "|"; };
    session.SetActive(true);
    tell(session.GetServerDescription());
    const auto store = session.OpenDefaultMsgStore();
    tell(store->GetIdentity()->GetEmailAddress());
    const auto inbox = store->GetFolder(dfininbox, "");
    tell(inbox->GetDisplayName());
    tell(IntToStr(static_cast<std::int64_t>(inbox->GetTotalCount())));
    const auto items = inbox->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    items->GetFields().Add(FLD_ITEM_SENSITIVITY);
    items->SetMaxEntriesPerPage(2);
    TItemId first;
    for (items->Open(); !items->Eof(); items->Next()) {
      tell(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString());
      tell(items->FieldByName(FLD_ITEM_SENSITIVITY).GetAsString());
      const string subject = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
      if (subject != "Second" && subject != "Third") first = items->GetItemId();
    }
    const auto mail = Supports<IVqEWSEMail>(store->GetItem(first));
    if (!mail) return told + "no message";
    tell(mail->GetSubject());
    tell(mail->GetBodyText());
    tell(mail->GetToRecipients()->GetAsString());
    tell(mail->GetCategories().AsString(";"));
    tell(VqEnumToText(mail->GetSensitivity()));
    tell(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsString());
    tell(mail->GetTextBody().Value);
    for (std::int32_t i = 0; i < mail->GetAttachments().Count(); ++i) {
      tell(mail->GetAttachments().GetAttachment(i)->GetName());
      if (const auto file = File(*mail, i)) tell(Content(*file));
    }
    const auto draft = Supports<IVqEWSEMail>(store->GetFolder(dfindrafts, "")->CreateItem(tMessage));
    draft->SetSubject("\xC3\x84rger");
    Attach(*draft, "b.txt", "content of b");
    draft->SaveChanges(soAutoResolve);
    draft->SetSubject("\xC3\x84rger, second");
    draft->SaveChanges(soNeverOverwrite);
    tell(store->GetItem(draft->GetID())->GetSubject());
    const auto found = session.ResolveName("alice", scActiveDirectory);
    for (std::int32_t i = 0; i < found->Count(); ++i) tell(found->GetItem(i)->GetRecipient().GetEmailAddress());
    const auto hex = session.ConvertId(ifEwsId, inbox->GetID().Id, kAlice, ifHexEntryId);
    tell(IntToStr(static_cast<std::int64_t>(hex->GetAlternateIds().GetAlternateId().Count())));
    const auto copy = inbox->CopyItem(first, store->GetFolderId(dfinjunkemail));
    tell(store->GetItem(copy)->GetSubject());
    store->GetFolder(dfinjunkemail, "")->DeleteItem(copy, dtHardDelete);
    return told;
  }
  /// The job straight to the simulator.
  std::string Plain() {
    TVqEWSServiceSession session;
    Configure(session);
    return Job(session);
  }
  /// The job through a server that gives each reply of the service to `answer`, and forwards all else as it is.
  std::string Through(const std::function<Answer(TRawReply)>& answer, bool compressed = false,
                      const Rewrite& request = nullptr) {
    ScriptedServer between;
    FRewritten = 0;
    between.Always([&](const ScriptedServer::Request& asked) {
      const std::string body = request ? request(asked.Body) : asked.Body;
      std::string bytes = "POST /EWS/Exchange.asmx HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
      for (const char* header : {"Content-Type", "Authorization", "Cookie"})
        if (!asked.Header(header).empty()) bytes += std::string(header) + ": " + asked.Header(header) + "\r\n";
      if (compressed) bytes += "Accept-Encoding: " + asked.Header("Accept-Encoding") + "\r\n";
      TRawReply reply =
          AskRaw(Server().HttpPort(), bytes + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
      reply.Head = Replaced(reply.Head, "\r\nConnection: close", "");
      if (reply.Body.empty()) return AnswerOf(reply.Head + "\r\n\r\n");
      ++FRewritten;
      return answer(std::move(reply));
    });
    TVqEWSServiceSession session;
    Configure(session);
    session.SetServiceUrl(between.Url("/EWS/Exchange.asmx"));
    return Job(session);
  }
  /// The same with the bodies rewritten, and the type of the content where one is given.
  std::string ThroughBodies(const Rewrite& rewrite, const std::string& type = "text/xml; charset=utf-8") {
    return Through([&](TRawReply reply) { return AnswerOf(HttpOk(rewrite(std::move(reply.Body)), type)); });
  }
  /// The job learns the same, and replies were rewritten.
  void ExpectTheSame(const Rewrite& rewrite, const std::string& type = "text/xml; charset=utf-8") {
    const std::string plain = Plain();
    EXPECT_EQ(ThroughBodies(rewrite, type), plain);
    EXPECT_GT(FRewritten, 15);
  }

  static Answer AnswerOf(std::string bytes, std::size_t pieces = 0) {
    Answer answer;
    answer.Bytes = std::move(bytes);
    answer.PieceSize = pieces;
    return answer;
  }
  static std::string HttpOk(const std::string& body, const std::string& type = "text/xml; charset=utf-8") {
    return "HTTP/1.1 200 OK\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  }
  static std::string RegexReplaced(const std::string& text, const std::string& what, const std::string& with) {
    return std::regex_replace(text, std::regex(what), with);
  }

  int FRewritten = 0;
};

}  // namespace velmore::testing
