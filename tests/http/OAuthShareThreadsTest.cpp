// Clients that share a token, on threads of their own; and grants that are cancelled.

#include <gtest/gtest.h>

#include <barrier>
#include <condition_variable>
#include <thread>

#include "OAuthTestSupport.h"

namespace velmore {
namespace {

using Names = std::vector<std::string>;
using TGrant = TVqOAuthGrantType;

/// Opens once.
class Gate {
 public:
  void Open() {
    const std::scoped_lock lock(FMutex);
    FOpen = true;
    FChanged.notify_all();
  }
  void Wait() {
    std::unique_lock lock(FMutex);
    FChanged.wait_for(lock, std::chrono::seconds(30), [&] { return FOpen; });
  }

 private:
  std::mutex FMutex;
  std::condition_variable FChanged;
  bool FOpen = false;
};

/// A form that says when it is shown, and waits for its answer or its end.
class WaitingForm final : public TVqObject, public virtual IVqHTTPOAuthAutorizeForm {
 public:
  explicit WaitingForm(Gate& shown) : FShown(shown) {}
  string Authorize(const string&, const string&, TVqWindowHandle) override {
    FShown.Open();
    FEnded.Wait();
    return {};
  }
  void Cancel() noexcept override { FEnded.Open(); }

 private:
  Gate& FShown;
  Gate FEnded;
};

class OAuthShare : public ::testing::Test {
 protected:
  /// Clients whose settings are copies of one.
  std::vector<TVqRef<IVqHTTPClient>> Clients(std::size_t count, TGrant grant = TGrant::ClientCredentials) {
    const TVqOAuth settings = Server.Settings(grant);
    std::vector<TVqRef<IVqHTTPClient>> clients;
    for (std::size_t i = 0; i < count; ++i) {
      clients.push_back(Server.Client(grant));
      clients.back()->GetOAuth() = settings;
    }
    return clients;
  }
  /// Runs the job for each client on a thread of its own; what went wrong, in the clients' order.
  template <typename Job>
  static std::vector<std::string> AtOnce(const std::vector<TVqRef<IVqHTTPClient>>& clients, Job job) {
    std::vector<std::string> failures(clients.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < clients.size(); ++i) {
      threads.emplace_back([&, i] {
        try {
          job(clients[i]);
        } catch (const std::exception& failure) {
          failures[i] = failure.what();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    return failures;
  }

  TokenServer Server;
};

TEST_F(OAuthShare, OneAsksForTheTokenAndTheOthersTakeIt) {
  const auto clients = Clients(8);
  const auto failures = AtOnce(clients, [&](const auto& client) { Get(client, Server.Mail()); });
  EXPECT_EQ(failures, Names(8));
  EXPECT_EQ(Server.Forms().size(), 1U);
  EXPECT_EQ(Server.Used(), Names(8, "Bearer access-1"));
}

TEST_F(OAuthShare, OneRenewsATokenThatAllWereRefusedWith) {
  const auto clients = Clients(6);
  AtOnce(clients, [&](const auto& client) { Get(client, Server.Mail()); });
  Server.Refuse("access-1");
  const auto failures = AtOnce(clients, [&](const auto& client) {
    if (Get(client, Server.Mail())->GetStatus().Code != 200) throw EVqException("refused");
  });
  EXPECT_EQ(failures, Names(6));
  EXPECT_EQ(Server.Forms().size(), 2U);
}

TEST_F(OAuthShare, ThoseWhoWaitFailWithTheOneWhoAsks) {
  const auto clients = Clients(4);
  std::atomic<int> asked = 0;
  Server.OnAsk = [&](const auto&) {
    ++asked;
    ScriptedServer::Answer answer = Plain(TokenServer::Json(400, "{\"error\":\"invalid_client\"}"));
    answer.Before = std::chrono::milliseconds(300);
    return answer;
  };
  std::atomic<int> failed = 0;
  std::barrier noted(4);
  const auto failures = AtOnce(clients, [&](const auto& client) {
    try {
      Get(client, Server.Mail());
      noted.arrive_and_drop();
    } catch (EVqOAuthException& failure) {
      // As the layers above do.
      const bool mine = ++failed % 2 == 0;
      failure.NoteMayHaveHappened(mine);
      noted.arrive_and_wait();
      EXPECT_EQ(failure.MayHaveHappened(), mine) << "each has a failure of his own";
      throw;
    }
  });
  EXPECT_EQ(failed, 4);
  for (const std::string& failure : failures) EXPECT_NE(failure.find("invalid_client"), std::string::npos) << failure;
  // Who comes when it is over asks anew; with a server that takes its time nobody does.
  EXPECT_LE(asked, 4);
  EXPECT_GE(asked, 1);
}

TEST_F(OAuthShare, ClientsWithOtherCredentialsGetOtherTokens) {
  const auto clients = Clients(2, TGrant::Password);
  clients[1]->GetCredentials().SetUserName("bob");
  for (const auto& client : clients) Get(client, Server.Mail());
  EXPECT_EQ(Server.Used(), (Names{"Bearer access-1", "Bearer access-2"}));
  ASSERT_EQ(Server.Forms().size(), 2U);
  EXPECT_EQ(Server.Forms()[1].at("username"), "bob");
  for (const auto& client : clients) Get(client, Server.Mail());
  EXPECT_EQ(Server.Forms().size(), 2U);
}

TEST_F(OAuthShare, SettingsThatWereMadeApartOrChangedShareNothing) {
  const auto clients = Clients(4);
  clients[1]->GetOAuth().SetScope("other");
  clients[2]->GetOAuth() = Server.Settings(TGrant::ClientCredentials);
  clients[3]->GetOAuth().Separate();
  for (const auto& client : clients) Get(client, Server.Mail());
  EXPECT_EQ(Server.Forms().size(), 4U);
}

TEST_F(OAuthShare, TokenOfAnApplicationIsNotMixedWithThoseOfTheGrant) {
  const auto clients = Clients(2, TGrant::Authorize);
  clients[0]->GetOAuth().SetAccessToken(TokenFor("old-of-anna", -1, "refresh-anna"));
  clients[1]->GetOAuth().SetAccessToken(TokenFor("old-of-bob", -1, "refresh-bob"));
  for (const auto& client : clients) Get(client, Server.Mail());
  ASSERT_EQ(Server.Forms().size(), 2U);
  EXPECT_EQ(Server.Forms()[1].at("refresh_token"), "refresh-bob");
  EXPECT_EQ(Server.Used(), (Names{"Bearer access-1", "Bearer access-2"}));
}

TEST_F(OAuthShare, TokenThatACopyHasGotCanBeHandedOn) {
  const auto clients = Clients(2);
  Get(clients[0], Server.Mail());
  clients[1]->GetOAuth().SetAccessToken(clients[0]->GetOAuth().GetAccessToken());
  Server.Refuse("access-1");
  Get(clients[0], Server.Mail());
  Get(clients[1], Server.Mail());
  EXPECT_EQ(Server.Forms().size(), 2U) << "it still takes part in what the other gets";
}

TEST_F(OAuthShare, FormThatNeedsATokenItselfIsToldSo) {
  const auto clients = Clients(2, TGrant::Authorize);
  std::string text;
  class Impatient final : public TVqObject, public virtual IVqHTTPOAuthAutorizeForm {
   public:
    explicit Impatient(std::function<void()> job) : FJob(std::move(job)) {}
    string Authorize(const string&, const string&, TVqWindowHandle) override {
      FJob();
      return {};
    }

   private:
    std::function<void()> FJob;
  };
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(VqOnGetOAuthAuthorizeForm, [&](TVqOAuth&) {
    return TVqRef<IVqHTTPOAuthAutorizeForm>(MakeRef<Impatient>([&] { Get(clients[1], Server.Mail()); }).get());
  });
  try {
    Get(clients[0], Server.Mail());
  } catch (const EVqException& failure) {
    text = failure.what();
  }
  EXPECT_EQ(text, "A token is being asked for on this thread; what asks for it must not need one.");
}

// ---- Cancelling

TEST_F(OAuthShare, CancelEndsTheWaitForAPersonAndForAnother) {
  Gate shown;
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(VqOnGetOAuthAuthorizeForm, [&](TVqOAuth&) {
    return TVqRef<IVqHTTPOAuthAutorizeForm>(MakeRef<WaitingForm>(shown).get());
  });
  const auto clients = Clients(2, TGrant::Authorize);
  std::uint32_t first = 0;
  std::atomic<std::uint32_t> second = 0;
  std::thread asking([&] { first = NumberOf([&] { Get(clients[0], Server.Mail()); }); });
  shown.Wait();
  std::thread waiting([&] { second = NumberOf([&] { Get(clients[1], Server.Mail()); }); });
  // Whether it waits already or not, both ways must end.
  while (second == 0) {
    clients[1]->GetComponent()->Cancel();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  waiting.join();
  EXPECT_EQ(second, 6U);
  clients[0]->GetComponent()->Cancel();
  asking.join();
  EXPECT_EQ(first, 6U);
}

TEST_F(OAuthShare, WhoWaitsAsksHimselfWhenTheOneWhoAskedIsCancelled) {
  Gate shown;
  std::atomic<int> forms = 0;
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(VqOnGetOAuthAuthorizeForm, [&](TVqOAuth&) {
    if (forms++ == 0) return TVqRef<IVqHTTPOAuthAutorizeForm>(MakeRef<WaitingForm>(shown).get());
    throw EAbort("the second form");
  });
  const auto clients = Clients(2, TGrant::Authorize);
  std::thread asking([&] { EXPECT_EQ(NumberOf([&] { Get(clients[0], Server.Mail()); }), 6U); });
  shown.Wait();
  std::string second;
  std::thread waiting([&] {
    try {
      Get(clients[1], Server.Mail());
    } catch (const std::exception& failure) {
      second = failure.what();
    }
  });
  clients[0]->GetComponent()->Cancel();
  asking.join();
  waiting.join();
  EXPECT_EQ(second, "the second form");
}

TEST_F(OAuthShare, CancelEndsTheListenerAndTheTokenRequest) {
  Gate opened;
  const Instead<TVqOpenBrowserEvent> browser(VqOnOpenBrowser, [&](const string&) { opened.Open(); });
  const auto client = Server.Client(TGrant::Authorize);
  std::thread asking([&] { EXPECT_EQ(NumberOf([&] { Get(client, Server.Mail()); }), 6U); });
  opened.Wait();
  client->GetComponent()->Cancel();
  asking.join();

  Server.OnAsk = [](const auto&) {
    ScriptedServer::Answer answer = Plain("");
    answer.Hang = true;
    return answer;
  };
  const auto other = Server.Client();
  other->GetTimeOuts() = TVqHTTPTimeOuts(60000, 60000, 60000);
  std::stop_source source;
  other->GetComponent()->SetStopToken(source.get_token());
  std::thread posting([&] { EXPECT_EQ(NumberOf([&] { other->GetComponent()->AcquireToken(); }), 6U); });
  Server.Server.WaitFor([&] { return !Server.Forms().empty(); });
  source.request_stop();
  posting.join();
  EXPECT_EQ(NumberOf([&] { other->GetComponent()->AcquireToken(); }), 6U) << "a stop that was asked for before";
}

}  // namespace
}  // namespace velmore
