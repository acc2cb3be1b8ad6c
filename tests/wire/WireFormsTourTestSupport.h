#pragma once

// A tour over every operation that the library can send, with values by chance.

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ews/VelmoreEWS.h"
#include "simulator/simulator.h"

namespace velmore::testing {

/// Composes requests of every operation against a simulator of one version. What is composed follows from the seed
/// alone, so that two tours with the same seed compose the same requests, whatever the form.
class TWireTour {
 public:
  /// In `strict` what applications are asked to escape by default they do not. `refusing` is a simulator that refuses
  /// the library's own forms; without it the session must not go over to the other form, so that each tour is one in
  /// its own.
  TWireTour(const std::string& version, bool strict, unsigned seed, bool refusing);
  ~TWireTour();

  /// Each kind of request once, with other values at each call.
  void Round();

  /// The operations that Round leaves out, as nobody can tell the order of their requests: folders are watched.
  void Beyond();

  /// For a tour among replies that are not as they should be: what happens before each step, and what is raised.
  struct THooks {
    std::function<void()> BeforeStep;
    std::function<void(const char* step, const std::exception& failure)> Raised;
  };
  void SetHooks(THooks hooks) { FHooks = std::move(hooks); }
  /// Logs on to another server, which stands before the simulator.
  void GoBy(const std::string& url);
  /// Logs on again, to lean round trips.
  void SetLean();
  /// Logs on again when the session is no longer.
  void Recover();
  /// A question that every session that is usable gets an answer to. Raises.
  void Ask() { FStore->GetFolderId(dfininbox); }

  /// The envelopes of all requests, in order; those that were refused for their form aside, where it is told.
  std::vector<std::string> Requests(bool refused = true) const;
  /// "step: text of the exception" of steps that raised.
  const std::vector<std::string>& Refusals() const { return FRefusals; }
  /// How many items stand where.
  std::string Mailboxes() const;
  simulator::Simulator& Server() { return FServer; }

 private:
  using TMail = TVqRef<IVqEWSEMail>;

  void Try(const char* step, const std::function<void()>& action);
  unsigned Below(unsigned count) { return static_cast<unsigned>(FRandom() % count); }
  bool Chance() { return FRandom() % 2 == 0; }
  string Text();
  /// A text as a restriction takes it in this form.
  string FilterText();
  TDateTime Time();
  string Address();

  TItemId Add(const std::string& folder, const std::string& xml);
  TVqRef<IVqEWSFolder> Folder(TDistinguishedFolderIdName name);
  TMail NewMail();
  TMail OldMail();

  void LogOn(bool impersonate);
  void Activate();
  void FillRecipients(IVqEWSRecipients& list);
  void Change(IVqEWSItem& item);
  void ChangeMail(IVqEWSEMail& mail);
  void ChangeExtended(IVqEWSItem& item);
  void Attach(IVqEWSItem& item);

  void Sessions();
  void Stores();
  void Calendar();
  void Names();
  void Ids();
  void Services();
  void NewItems();
  void OldItems();
  void OtherKinds();
  void People();
  void Responses();
  void Attachments();
  void Reading();
  void Sending();
  void Folders();
  void Tables();
  void Filters();
  void Impersonated();
  void Watching();
  TVqRef<IVqEWSRestriction> Restriction(IVqEWSTableBase& table, unsigned depth);

  std::mt19937 FRandom;
  std::string FVersion;
  bool FStrict, FRefusing;
  bool FLean = false;
  simulator::Simulator FServer;
  std::unique_ptr<TVqEWSServiceSession> FSession;
  TVqRef<IVqEWSMsgStore> FStore;
  std::vector<std::string> FRefusals;
  std::string FUrl;
  THooks FHooks;
};

}  // namespace velmore::testing
