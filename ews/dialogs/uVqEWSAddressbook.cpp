#include "ews/dialogs/uVqEWSAddressbook.h"

#include "ews/dialogs/uVqEWSDialogHooks_p.h"

namespace velmore {
namespace {

constexpr TVqEWSAddressBookDialogButton kAll[] = {btnTo, btnCC, btnBCC};

/// The entry of a button. Raises EListError for one that there is not.
template <typename T>
T& Of(T* entries, TVqEWSAddressBookDialogButton button) {
  if (button < btnTo || button > btnBCC) throw EListError(Format("There is no button %d.", {std::int32_t{button}}));
  return entries[button];
}

}  // namespace

TVqEWSCreateAddressBookDialog CreateAddressBookDialog;

void TVqEWSAddressBookDialog::SetSession(TVqEWSBaseSession* AValue) {
  EwsWatchSession(*this, FSession, AValue);
}

const string& TVqEWSAddressBookDialog::GetButtonName(TVqEWSAddressBookDialogButton AButton) const {
  return Of(FButtonNames.data(), AButton);
}

void TVqEWSAddressBookDialog::SetButtonName(TVqEWSAddressBookDialogButton AButton, const string& AValue) {
  Of(FButtonNames.data(), AButton) = AValue;
}

TVqRef<IVqEWSRecipients> TVqEWSAddressBookDialog::GetRecipientList(TVqEWSAddressBookDialogButton AButton) {
  TVqRef<IVqEWSRecipients>& list = Of(FRecipients.data(), AButton);
  if (!list) list = Resolver().CreateRecipients();
  return list;
}

void TVqEWSAddressBookDialog::SetRecipientList(TVqEWSAddressBookDialogButton AButton,
                                               const TVqRef<IVqEWSRecipients>& AValue) {
  Of(FRecipients.data(), AButton) = AValue;
}

bool TVqEWSAddressBookDialog::Execute(bool AResolveOnClose) {
  if (!FSession) throw EAssertionFailed("Assertion failure (ews/uVqEWSAddressbook)");
  for (const auto button : kAll) GetRecipientList(button);
  const auto dialog = EwsCallHook("CreateAddressBookDialog", CreateAddressBookDialog, *this, *FSession);
  dialog->SetTitle(FTitle);
  dialog->SetSearchScope(FSearchScope);
  dialog->SetButtons(FButtons);
  for (const auto button : kAll) dialog->SetButtonName(button, FButtonNames[button]);
  for (const auto button : kAll) dialog->SetRecipientList(button, FRecipients[button]);
  dialog->SetDefaultButton(FDefaultButton);
  const bool chosen = dialog->ShowModal() == 1;
  // Also when the user cancelled, on purpose: a window that fills the lists in place cannot take that back.
  for (const auto button : kAll) FRecipients[button] = dialog->GetRecipientList(button);
  if (!AResolveOnClose) return chosen;
  for (const auto button : kAll) {
    if (FRecipients[button]) Resolver().ResolveNames(FRecipients[button], false);
  }
  return chosen;
}

IVqEWSNameResolver& TVqEWSAddressBookDialog::Resolver() const {
  auto* resolver = dynamic_cast<IVqEWSNameResolver*>(FSession);
  if (!resolver) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  return *resolver;
}

void TVqEWSAddressBookDialog::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqComponent::Notification(AComponent, AOperation);
  if (AOperation == TVqOperation::opRemove && AComponent == FSession) FSession = nullptr;
}

}  // namespace velmore
