#pragma once

/// Which folders a folder picker shows; see ews/dialogs/uVqEWSFolderDialog.h.

namespace velmore {

/// Which folders a picker shows. All of them at first.
///
/// Owns its values. A copy copies them. One thread at a time. Raises nothing.
class TVqEWSFolderDialogDisplayTypes {
 public:
  /// Folders by what is in them.
  bool GetShowMessageFolders() const noexcept { return FShowMessageFolders; }
  void SetShowMessageFolders(bool AValue) noexcept { FShowMessageFolders = AValue; }
  bool GetShowCalendarFolders() const noexcept { return FShowCalendarFolders; }
  void SetShowCalendarFolders(bool AValue) noexcept { FShowCalendarFolders = AValue; }
  bool GetShowContactFolders() const noexcept { return FShowContactFolders; }
  void SetShowContactFolders(bool AValue) noexcept { FShowContactFolders = AValue; }
  bool GetShowSearchFolders() const noexcept { return FShowSearchFolders; }
  void SetShowSearchFolders(bool AValue) noexcept { FShowSearchFolders = AValue; }
  bool GetShowTaskFolders() const noexcept { return FShowTaskFolders; }
  void SetShowTaskFolders(bool AValue) noexcept { FShowTaskFolders = AValue; }
  /// Folders that every mailbox has.
  bool GetShowInbox() const noexcept { return FShowInbox; }
  void SetShowInbox(bool AValue) noexcept { FShowInbox = AValue; }
  bool GetShowOutbox() const noexcept { return FShowOutbox; }
  void SetShowOutbox(bool AValue) noexcept { FShowOutbox = AValue; }
  bool GetShowDeletedItems() const noexcept { return FShowDeletedItems; }
  void SetShowDeletedItems(bool AValue) noexcept { FShowDeletedItems = AValue; }
  bool GetShowSentItems() const noexcept { return FShowSentItems; }
  void SetShowSentItems(bool AValue) noexcept { FShowSentItems = AValue; }
  bool GetShowJournal() const noexcept { return FShowJournal; }
  void SetShowJournal(bool AValue) noexcept { FShowJournal = AValue; }
  bool GetShowNotes() const noexcept { return FShowNotes; }
  void SetShowNotes(bool AValue) noexcept { FShowNotes = AValue; }

  /// Copies all of them.
  void AssignTo(TVqEWSFolderDialogDisplayTypes& ADest) const noexcept { ADest = *this; }
  /// The same, the other way round.
  void Assign(const TVqEWSFolderDialogDisplayTypes& ASource) noexcept { *this = ASource; }

  friend bool operator==(const TVqEWSFolderDialogDisplayTypes&, const TVqEWSFolderDialogDisplayTypes&) = default;

 private:
  bool FShowMessageFolders = true, FShowCalendarFolders = true, FShowContactFolders = true, FShowSearchFolders = true,
       FShowTaskFolders = true, FShowInbox = true, FShowOutbox = true, FShowDeletedItems = true, FShowSentItems = true,
       FShowJournal = true, FShowNotes = true;
};

}  // namespace velmore
