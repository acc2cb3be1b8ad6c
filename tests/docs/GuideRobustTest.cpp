// The daemon of the page on robust programs: whatever request is cut, the report goes out once.

#include "ews/items/uVqEWSAttachments.h"
#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/stores/uVqEWSMarks.h"
#include "tests/support/EWSTestSupport.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

namespace velmore::testing {
namespace {

/// A piece of work, as a daemon keeps it on disk.
struct TReport {
  string Mark = "{3F1C9A52-7D0B-4E6A-9C11-5B2F8E7A4D01}";
  string Subject = "Report";
  string Text = "Attached.";
  string Name = "Bob Birch";
  string Address = "bob@example.com";
  string File;
  bool WasSaved = false;

  void NoteSaved() { WasSaved = true; }
};

void Deliver(IVqEWSMsgStore& store, TReport& report) {
  const auto drafts = store.GetFolder(dfindrafts, "");
  const auto made = VqFindByMark(*drafts, EFLD_BILLING, report.Mark);
  TVqRef<IVqEWSEMail> mail;
  if (made.empty()) {
    if (report.WasSaved) return;  // the draft stood there, and is gone: it went out
    mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->PropertyByName(EPR_BILLING).SetAsString(report.Mark);
    mail->SetSubject(report.Subject);
    mail->SetBodyText(report.Text);
    mail->GetToRecipients()->AddMailbox(report.Name, report.Address);
    mail->GetAttachments().AddAttachment(report.File);
  } else {
    mail = Supports<IVqEWSEMail>(store.GetItem(made.front()));  // an earlier attempt came this far
    if (mail->GetAttachments().Count() == 0) mail->GetAttachments().AddAttachment(report.File);
  }
  mail->SaveChanges(soAutoResolve);
  report.NoteSaved();  // on disk, before the next line
  mail->SubmitMessage(true);
}

/// Does work that may be done again until it is done. False when `wait` was told to stop.
bool Persist(const std::function<void()>& work, const std::function<bool(std::chrono::milliseconds)>& wait) {
  static const std::set<std::uint32_t> kPasses = {VqErrTimeOut,         VqErrNameNotResolved,
                                                  VqErrCannotConnect,   VqErrConnectionAborted,
                                                  VqErrConnectionReset, VqErrInvalidServerResponse};
  for (std::chrono::milliseconds pause(1000);; pause = std::min(pause * 2, std::chrono::milliseconds(60000))) {
    try {
      work();
      return true;
    } catch (const EVqServerBusy& busy) {
      if (busy.GetRetryAfter() > 0) pause = std::chrono::milliseconds(busy.GetRetryAfter());
    } catch (const EVqHTTPApiException& failure) {
      if (!kPasses.contains(failure.GetNumber())) throw;  // a password, a certificate: somebody has to do something
    }
    if (!wait(pause)) return false;
  }
}

class GuideRobust : public EWSTest {
 protected:
  std::size_t Delivered() { return Server().CountItems(kBob, "inbox"); }
};

TEST_F(GuideRobust, AReportGoesOutOnceWhateverRequestIsCut) {
  const auto file = std::filesystem::temp_directory_path() / ("velmore-report-" + IntToStr(::getpid()).utf8() + ".txt");
  std::ofstream(file) << "the report";
  enum class Cut { before, after, within };
  std::size_t delivered = 0, cuts = 0;
  for (const Cut cut : {Cut::before, Cut::after, Cut::within}) {
    for (int request = 0; request < 20; ++request) {
      TReport report;
      report.File = file.string();
      const auto store = Session().OpenDefaultMsgStore();
      simulator::Fault fault;
      fault.skip = request;
      fault.execute = cut != Cut::before;
      if (cut == Cut::within) {
        fault.cut_at_byte = 300;
      } else {
        fault.close_before_reply = true;
      }
      Server().AddFault(fault);
      for (int attempt = 0; attempt < 5; ++attempt) {  // each one as a new process would make it
        try {
          Deliver(*store, report);
          if (attempt > 0) ++cuts;
          break;
        } catch (const EVqException&) {
        }
      }
      Server().ClearFaults();
      EXPECT_EQ(Delivered(), ++delivered) << request;
      EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u) << request;
    }
  }
  EXPECT_GT(cuts, 20u);  // faults were met
  const auto inbox = Session().OpenDefaultMsgStore();
  std::filesystem::remove(file);
}

TEST_F(GuideRobust, WorkThatMayBeDoneAgainIsDoneAtLast) {
  const auto store = Session().OpenDefaultMsgStore();
  simulator::Fault busy, cut;
  busy.soap_fault_code = "ErrorServerBusy";
  busy.back_off_milliseconds = 1250;
  cut.close_before_reply = true;
  cut.times = 2;
  Server().AddFault(busy);
  Server().AddFault(cut);
  std::vector<std::int64_t> waits;
  const auto wait = [&](std::chrono::milliseconds pause) {
    waits.push_back(pause.count());
    return true;
  };
  std::int32_t items = -1;
  const auto look = [&] { items = store->GetFolder(dfininbox, "")->GetTotalCount(); };
  EXPECT_TRUE(Persist(look, wait));
  EXPECT_EQ(items, 0);
  EXPECT_EQ(waits, (std::vector<std::int64_t>{1250, 2500, 5000}));

  cut.times = -1;
  Server().AddFault(cut);
  EXPECT_FALSE(Persist(look, [](std::chrono::milliseconds) { return false; }));
}

TEST_F(GuideRobust, WhatNoWaitingMendsIsRaisedAtOnce) {
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetPassword("not this one");
  EXPECT_THROW(Persist([&] { session.SetActive(true); },
                       [](std::chrono::milliseconds) {
                         ADD_FAILURE() << "waits";
                         return false;
                       }),
               EVqHTTPApiException);
  const auto store = Session().OpenDefaultMsgStore();
  EXPECT_THROW(Persist(
                   [&] {
                     store->GetItem({"AAMk", ""});
                   },
                   [](std::chrono::milliseconds) { return false; }),
               EEWSException);
}

TEST_F(GuideRobust, AMarkIsLookedForBeforeAnotherAttempt) {
  const auto drafts = Session().OpenDefaultMsgStore()->GetFolder(dfindrafts, "");
  const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
  const string mark = "{3F1C9A52-7D0B-4E6A-9C11-5B2F8E7A4D01}";  // one for each piece of work, kept with it
  mail->PropertyByName(EPR_BILLING).SetAsString(mark);           // or a property of your own
  mail->SaveChanges(soAutoResolve);

  const auto made = VqFindByMark(*drafts, EFLD_BILLING, mark);  // before another attempt
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made.front().Id, mail->GetID().Id);
}

}  // namespace
}  // namespace velmore::testing
