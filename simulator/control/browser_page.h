#pragma once

// What a browser sees at "/": mailboxes, folders, messages and the last exchanges. Plain HTML without scripts and
// without anything from elsewhere. Passwords are not shown, and what stands in mailboxes and exchanges is text, never
// markup.

#include <cstddef>
#include <optional>
#include <string>

#include "simulator/control/recorder.h"
#include "simulator/mailbox/model.h"

namespace velmore::simulator {

class BrowserPage {
 public:
  BrowserPage(const Store& store, const Recorder& recorder) : store_(store), recorder_(recorder) {}

  struct Figures {
    Counters counters;
    std::size_t pending_faults = 0;
  };
  /// The page for a request target: "/", "/?folder=ID", "/?item=ID", "/?exchange=NUMBER". Nothing when there is no such
  /// folder, item or exchange.
  std::optional<std::string> Render(const std::string& target, const Figures& figures) const;

 private:
  std::string Overview(const Figures& figures) const;
  std::optional<std::string> FolderPage(const std::string& id) const;
  std::optional<std::string> ItemPage(const std::string& id) const;
  std::optional<std::string> ExchangePage(const std::string& number) const;
  const Store& store_;
  const Recorder& recorder_;
};

}  // namespace velmore::simulator
