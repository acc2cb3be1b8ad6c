#pragma once

/// An address book from which a user puts people into lists. The component holds the lists and how they are called; the
/// window comes from a user-interface layer, which sets the hook CreateAddressBookDialog once for the process.
///
///     TVqEWSAddressBookDialog dialog(nullptr);
///     dialog.SetSession(&session);
///     dialog.SetRecipientList(btnTo, mail->GetToRecipients());
///     dialog.Execute(true);

#include <array>
#include <functional>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSRecipients.h"
#include "ews/model/uVqEWSResolution.h"

namespace velmore {

/// The lists of an address book, and the buttons that move people to them.
enum TVqEWSAddressBookDialogButton : std::int32_t { btnTo, btnCC, btnBCC };
using TVqEWSAddressBookDialogButtons = TVqSet<TVqEWSAddressBookDialogButton>;

/// The window behind an address book. What a user-interface layer implements.
class IVqEWSAddressBookDialog : public virtual IVqObject {
 public:
  /// What is in a list now: asked for after each run, whatever it gave.
  virtual TVqRef<IVqEWSRecipients> GetRecipientList(TVqEWSAddressBookDialogButton AButton) = 0;
  virtual void SetTitle(const string& AValue) = 0;
  /// Where names are searched at first.
  virtual void SetSearchScope(TSearchScope AValue) = 0;
  /// The buttons that are shown.
  virtual void SetButtons(TVqEWSAddressBookDialogButtons AValue) = 0;
  virtual void SetButtonName(TVqEWSAddressBookDialogButton AButton, const string& AValue) = 0;
  /// The button that a double click stands for.
  virtual void SetDefaultButton(TVqEWSAddressBookDialogButton AValue) = 0;
  /// The list to fill. The window may fill it in place or give another one back.
  virtual void SetRecipientList(TVqEWSAddressBookDialogButton AButton, const TVqRef<IVqEWSRecipients>& AValue) = 0;
  /// Shows the window until the user is done; 1 for OK.
  virtual std::int32_t ShowModal() = 0;

 protected:
  ~IVqEWSAddressBookDialog() = default;
};

class TVqEWSAddressBookDialog;

/// Makes the window. Set once for the process by a user-interface layer, before the first address book runs; empty at
/// first.
using TVqEWSCreateAddressBookDialog =
    std::function<TVqRef<IVqEWSAddressBookDialog>(TVqEWSAddressBookDialog& ADialog, TVqEWSBaseSession& ASession)>;
extern TVqEWSCreateAddressBookDialog CreateAddressBookDialog;

/// The address book.
///
/// Owns its settings and shares its lists; not its session, which is forgotten when it goes away. No copies. One thread
/// at a time. Raises what each operation says, and whatever the window raises.
class TVqEWSAddressBookDialog : public TVqComponent {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSAddressBookDialog(TVqComponent* AOwner = nullptr) : TVqComponent(AOwner) {}

  TVqEWSBaseSession* GetSession() const noexcept { return FSession; }  ///< null when there is none
  void SetSession(TVqEWSBaseSession* AValue);                          ///< not owned; forgotten when it goes away
  /// Where names are searched at first: the directory, then the user's contacts, unless changed.
  TSearchScope GetSearchScope() const noexcept { return FSearchScope; }
  void SetSearchScope(TSearchScope AValue) noexcept { FSearchScope = AValue; }
  const string& GetTitle() const noexcept { return FTitle; }
  void SetTitle(const string& AValue) { FTitle = AValue; }
  /// The buttons that are shown; all three at first.
  TVqEWSAddressBookDialogButtons GetButtons() const noexcept { return FButtons; }
  void SetButtons(TVqEWSAddressBookDialogButtons AValue) noexcept { FButtons = AValue; }
  /// What stands on them: "To ->" and so on at first. Raises EListError for a button that there is not.
  const string& GetButtonName(TVqEWSAddressBookDialogButton AButton) const;
  void SetButtonName(TVqEWSAddressBookDialogButton AButton, const string& AValue);
  TVqEWSAddressBookDialogButton GetDefaultButton() const noexcept { return FDefaultButton; }
  void SetDefaultButton(TVqEWSAddressBookDialogButton AValue) noexcept { FDefaultButton = AValue; }
  /// A list of people; made when there is none yet, which needs a session that is logged on. Raises EListError for a
  /// button that there is not, a plain exception without a session.
  TVqRef<IVqEWSRecipients> GetRecipientList(TVqEWSAddressBookDialogButton AButton);
  void SetRecipientList(TVqEWSAddressBookDialogButton AButton, const TVqRef<IVqEWSRecipients>& AValue);

  /// Shows the address book. True when the user closed it with OK. Whatever the user did, the lists are those of the
  /// window afterwards, on purpose; with `AResolveOnClose`, their entries are completed (m:ResolveNames), and what is
  /// not found stays as it is. Raises an assertion without a session, a plain exception without a hook or when the
  /// session has gone away meanwhile.
  bool Execute(bool AResolveOnClose);

 protected:
  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;

 private:
  IVqEWSNameResolver& Resolver() const;

  TVqEWSBaseSession* FSession = nullptr;
  TSearchScope FSearchScope = scActiveDirectoryContacts;
  string FTitle = u"Address Book: Global Address List";
  TVqEWSAddressBookDialogButtons FButtons{btnTo, btnCC, btnBCC};
  std::array<string, 3> FButtonNames{u"To ->", u"CC ->", u"BCC ->"};
  TVqEWSAddressBookDialogButton FDefaultButton = btnTo;
  std::array<TVqRef<IVqEWSRecipients>, 3> FRecipients;
};

}  // namespace velmore
