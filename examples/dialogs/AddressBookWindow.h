#pragma once

// An address book in a terminal: a search, what it found, and the lists that people are moved to.

#include <array>
#include <vector>

#include "dialogs/Screen.h"
#include "ews/VelmoreEWS.h"

class AddressBookWindow : public velmore::TVqObject, public virtual velmore::IVqEWSAddressBookDialog {
 public:
  using Button = velmore::TVqEWSAddressBookDialogButton;

  AddressBookWindow(Screen& screen, velmore::TVqEWSCustomSession& session) : screen_(screen), session_(session) {}

  velmore::TVqRef<velmore::IVqEWSRecipients> GetRecipientList(Button AButton) override { return lists_[AButton]; }
  void SetTitle(const velmore::string& AValue) override { title_ = AValue; }
  void SetSearchScope(velmore::TSearchScope AValue) override { scope_ = AValue; }
  void SetButtons(velmore::TVqEWSAddressBookDialogButtons AValue) override { buttons_ = AValue; }
  void SetButtonName(Button AButton, const velmore::string& AValue) override { names_[AButton] = AValue; }
  void SetDefaultButton(Button AValue) override { default_ = AValue; }
  void SetRecipientList(Button AButton, const velmore::TVqRef<velmore::IVqEWSRecipients>& AValue) override {
    lists_[AButton] = AValue;
  }
  std::int32_t ShowModal() override;

 private:
  struct Person {
    velmore::string Name, Address, Routing;
  };

  void Search(const std::string& text);
  void Move(Button button);
  void Draw(const std::string& remark);

  Screen& screen_;
  velmore::TVqEWSCustomSession& session_;
  velmore::string title_;
  velmore::TSearchScope scope_ = velmore::scActiveDirectoryContacts;
  velmore::TVqEWSAddressBookDialogButtons buttons_;
  std::array<velmore::string, 3> names_;
  Button default_ = velmore::btnTo;
  std::array<velmore::TVqRef<velmore::IVqEWSRecipients>, 3> lists_;
  std::vector<Person> people_;
  std::size_t at_ = 0;
};
