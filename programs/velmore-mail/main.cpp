// velmore-mail: a mailbox from the command line.

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "programs/velmore-mail/Commands.h"
#include "programs/velmore-mail/Progress.h"
#include "programs/velmore-mail/Text.h"

namespace {

constexpr int kFailed = 1, kWrongUsage = 2, kInterrupted = 3;

/// An option that the environment may give as well, never a secret.
void AccountOption(CLI::App& app, const char* name, std::string& value, const char* variable, const char* help) {
  app.add_option(name, value, help)->envname(variable)->group("Account");
}

}  // namespace

int main(int argc, char** argv) {
  mail::AccountOptions account_options;
  mail::ListOptions list_options;
  mail::ReadOptions read_options;
  mail::SendOptions send_options;
  mail::FilesOptions files_options;
  files_options.progress = mail::Progress::OnTerminal();
  std::string profile;
  std::function<int(mail::Account&)> action;  // what the subcommand is, done once everything is parsed

  CLI::App app("A mailbox of Exchange Web Services from the command line.", "velmore-mail");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", VELMORE_VERSION);
  AccountOption(app, "--url", account_options.url, "VELMORE_MAIL_URL",
                "The service: https://mail.example.com/EWS/Exchange.asmx");
  AccountOption(app, "--user", account_options.user, "VELMORE_MAIL_USER",
                "Whom to log on as; the address when left out");
  AccountOption(app, "--address", account_options.address, "VELMORE_MAIL_ADDRESS",
                "Look for the service by this address");
  AccountOption(app, "--profile", account_options.profile, "VELMORE_MAIL_PROFILE",
                "Log on by what is kept under this name");
  AccountOption(app, "--ca-file", account_options.ca_file, "VELMORE_MAIL_CA_FILE",
                "Trust the authorities in this file (PEM), too");
  AccountOption(app, "--mailbox", account_options.mailbox, "VELMORE_MAIL_MAILBOX",
                "Act in the name of this mailbox's owner");

  // What a subcommand does is done once everything is parsed: options of the account may stand behind it.
  const auto does = [&](CLI::App* command, std::function<int(mail::Account&)> work) {
    command->callback([&action, work] { action = work; });
  };

  does(app.add_subcommand("check", "Log on step by step, and say what is wrong"),
       [](mail::Account& account) { return account.Check() ? 0 : kFailed; });

  auto* list = app.add_subcommand("list", "List the messages of a folder");
  list->add_option("--folder", list_options.folder, "Name (inbox, sentitems) or path (Projects/Lighthouse)")
      ->capture_default_str();
  list->add_flag("--folders", list_options.folders, "List the folders instead");
  list->add_option("--limit", list_options.limit, "So many at most; 0 for all")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  list->add_option("--from", list_options.from, "Sent by somebody whose name or address has this in it");
  list->add_option("--subject", list_options.subject, "With this in the subject");
  list->add_option("--since", list_options.since, "Received on this day or later: 2026-03-01");
  list->add_option("--before", list_options.before, "Received before this day");
  list->add_option("--category", list_options.category, "Marked with this category");
  list->add_option("--larger", list_options.larger, "Of more bytes than this")->check(CLI::NonNegativeNumber);
  list->add_flag("--unread", list_options.unread, "Not read yet");
  does(list, [&](mail::Account& account) { return mail::List(account, list_options); });

  auto* read = app.add_subcommand("read", "Show a message");
  read->add_option("message", read_options.handle, "The first digits that \"list\" shows")->required();
  read->add_option("--folder", read_options.folder, "The folder that it is in")->capture_default_str();
  read->add_flag("--headers", read_options.headers, "With the headers that it travelled under");
  read->add_flag("--raw", read_options.raw, "As MIME text");
  read->add_option("--attachments", read_options.attachments, "Save its files to this folder");
  read->add_flag("--mark", read_options.mark, "Mark it as read");
  does(read, [&](mail::Account& account) { return mail::Read(account, read_options); });

  auto* send = app.add_subcommand("send", "Send a message; its text comes from standard input");
  const auto several = [&](const char* name, std::vector<std::string>& values, const char* help) {
    send->add_option(name, values, help)->allow_extra_args(false);
  };
  several("--to", send_options.to, "ann@example.com or \"Ann Arden <ann@example.com>\"; may be repeated");
  several("--cc", send_options.cc, "The same for copies");
  several("--bcc", send_options.bcc, "The same for copies that nobody sees");
  several("--attach", send_options.attachments, "A file to send along; may be repeated");
  send->add_option("--subject", send_options.subject, "What it is about");
  send->add_option("--text", send_options.text, "The text, instead of standard input");
  send->add_flag("--html", send_options.html, "The text is HTML");
  does(send, [&](mail::Account& account) { return mail::Send(account, send_options); });

  const auto files = [&](const char* name, const char* help, const char* target, const char* folder,
                         int (*work)(mail::Account&, const mail::FilesOptions&)) {
    auto* command = app.add_subcommand(name, help);
    command->add_option("directory", files_options.target, target)->required();
    command->add_option("--folder", files_options.folder, folder);
    command->add_flag("--progress,!--no-progress", files_options.progress,
                      "Draw a bar, also where no terminal is; or none");
    does(command, [&, work](mail::Account& account) { return work(account, files_options) > 0 ? kFailed : 0; });
  };
  files("export", "Write messages as .eml files; started again, it goes on", "Where to write",
        "That folder and those in it; everything when left out", mail::Export);
  files("import", "Store the .eml files of a folder; started again, it goes on", "Where they are",
        "Where to store them, made when missing; inbox when left out", mail::Import);
  files("sync", "Make files what the mailbox is: new ones come, gone ones go", "Where to write",
        "That folder and those in it; everything when left out", mail::Sync);

  auto* profiles = app.add_subcommand("profile", "Keep accounts, with their passwords protected for this user");
  profiles->require_subcommand(1);
  auto* save = profiles->add_subcommand("save", "Log on, and keep the account under a name");
  save->add_option("name", profile, "The name")->required();
  does(save, [&](mail::Account& account) { return account.Save(profile); });
  does(profiles->add_subcommand("list", "Tell the names"),
       [](mail::Account&) { return mail::Account::ListProfiles(); });
  auto* forget = profiles->add_subcommand("delete", "Forget an account");
  forget->add_option("name", profile, "The name")->required();
  does(forget, [&](mail::Account&) { return mail::Account::Forget(profile); });
  app.footer(
      "Passwords come from VELMORE_MAIL_PASSWORD, from a profile, or from the terminal, and never from the command "
      "line.\n"
      "Ends with 0 when all was done, 1 when something failed, 2 when the command makes no sense, 3 when it was "
      "interrupted.");

  mail::NoteSignals();
  try {
    app.parse(argc, argv);
    mail::Account account(account_options);
    return action(account);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUsage;
  } catch (const mail::UsageError& wrong) {
    std::cerr << wrong.what() << '\n';
    return kWrongUsage;
  } catch (const mail::Interruption& interruption) {
    std::cerr << interruption.what() << '\n';
    return kInterrupted;
  } catch (const std::exception& failure) {
    std::cerr << mail::Explained(failure);
    return kFailed;
  }
}
