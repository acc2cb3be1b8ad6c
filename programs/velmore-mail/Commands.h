#pragma once

// What the program does, a function each. All of them give the number of what could not be done, told in a line each,
// and raise what the library raises.

#include <optional>
#include <string>
#include <vector>

#include "programs/velmore-mail/Account.h"

namespace mail {

/// What "list" shows.
struct ListOptions {
  std::string folder = "inbox";
  bool folders = false;  ///< the folders themselves instead
  int limit = 50;        ///< rows; 0 for all
  std::string from, subject, since, before, category;
  std::int64_t larger = 0;
  bool unread = false;
};
int List(Account& account, const ListOptions& options);

/// What "read" shows of one message.
struct ReadOptions {
  std::string handle, folder = "inbox";
  bool headers = false, raw = false, mark = false;
  std::string attachments;  ///< folder to save them to; empty for no
};
int Read(Account& account, const ReadOptions& options);

/// A message to send; the body comes from standard input unless `text` has it.
struct SendOptions {
  std::vector<std::string> to, cc, bcc, attachments;
  std::string subject;
  std::optional<std::string> text;
  bool html = false;
};
int Send(Account& account, const SendOptions& options);

/// Where "export", "import" and "sync" work.
struct FilesOptions {
  std::string target;  ///< the folder on this machine
  std::string folder;  ///< that of the mailbox; empty for all
  bool progress = false;
};
int Export(Account& account, const FilesOptions& options);
int Import(Account& account, const FilesOptions& options);
int Sync(Account& account, const FilesOptions& options);

}  // namespace mail
