#include "dialogs/AddressBookWindow.h"

#include "platform/common/uVqSerializer.h"

using namespace velmore;

void AddressBookWindow::Search(const std::string& text) {
  people_.clear();
  at_ = 0;
  const auto found = session_.ResolveName(text, scope_);
  for (std::int32_t i = 0; i < found->Count(); ++i) {
    const auto person = found->GetItem(i);
    TEwsEmailAddressType& mailbox = person->GetRecipient();
    people_.push_back({mailbox.GetName(), mailbox.GetEmailAddress(), mailbox.GetRoutingType()});
  }
}

void AddressBookWindow::Move(Button button) {
  if (!buttons_.Contains(button) || at_ >= people_.size()) return;
  const Person& person = people_[at_];
  lists_[button]->AddMailbox(person.Name, person.Address, person.Routing);
}

void AddressBookWindow::Draw(const std::string& remark) {
  const int half = screen_.Width() / 2;
  screen_.Clear();
  screen_.Write(0, 0, title_.utf8());
  screen_.Write(1, 0, "Searched in: " + VqEnumToText(scope_).utf8());
  std::vector<std::string> lines;
  for (const Person& person : people_) lines.push_back(person.Name.utf8() + " <" + person.Address.utf8() + ">");
  screen_.WriteList(3, 0, screen_.Height() - 6, half - 1, lines, at_);
  int row = 3;
  for (const Button button : {btnTo, btnCC, btnBCC}) {
    if (!buttons_.Contains(button)) continue;
    screen_.Write(row++, half, names_[button].utf8());
    for (std::int32_t i = 0; i < lists_[button]->Count() && row < screen_.Height() - 3; ++i) {
      const auto recipient = lists_[button]->GetItem(i);
      const string address = recipient->GetEmailAddress();
      screen_.Write(row++, half + 2,
                    recipient->GetName().utf8() + (address.empty() ? "" : " <" + address.utf8() + ">"));
    }
    ++row;
  }
  screen_.Write(screen_.Height() - 2, 0, remark);
  screen_.Write(screen_.Height() - 1, 0,
                "/ search, s scope, t c b move, Enter moves, w writes a name, o OK, Esc cancels");
  screen_.Show();
}

std::int32_t AddressBookWindow::ShowModal() {
  std::string remark;
  const auto attempt = [&](const auto& action) { remark = FailureOf(action); };
  for (;;) {
    Draw(remark);
    const Press press = screen_.Read();
    if (press.Kind == Key::escape) return 2;
    if (press.Is('o')) return 1;
    if (press.Kind == Key::up && at_ > 0) --at_;
    if (press.Kind == Key::down && at_ + 1 < people_.size()) ++at_;
    if (press.Is('s')) scope_ = static_cast<TSearchScope>((scope_ + 1) % VqEnumInfoOf(scope_).Count);
    if (press.Is('t')) attempt([&] { Move(btnTo); });
    if (press.Is('c')) attempt([&] { Move(btnCC); });
    if (press.Is('b')) attempt([&] { Move(btnBCC); });
    if (press.Kind == Key::enter) attempt([&] { Move(default_); });
    std::string text;
    if (press.Is('/') && screen_.Ask("Name:", text) && !text.empty()) {
      attempt([&] { Search(text); });
      if (remark.empty() && people_.empty()) remark = "Nobody was found.";
    }
    if (press.Is('w') && screen_.Ask("Name or address:", text)) attempt([&] { lists_[default_]->Add(text); });
  }
}
