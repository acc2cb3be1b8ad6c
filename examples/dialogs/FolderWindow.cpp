#include "dialogs/FolderWindow.h"

#include "ews/stores/uVqEWSMsgStore.h"

using namespace velmore;

void FolderWindow::Load() {
  store_ = MakeRef<TVqEWSMsgStore>(&session_, mailbox_);
  const auto top = store_->GetFolder(dfinmsgfolderroot, mailbox_);
  folders_ = Children(*top, 0);
  at_ = 0;
}

bool FolderWindow::IsShown(const IVqDOMElement& row) const {
  const string kind = row.GetLocalName();
  if ((kind == "CalendarFolder" && !types_.GetShowCalendarFolders()) ||
      (kind == "ContactsFolder" && !types_.GetShowContactFolders()) ||
      (kind == "SearchFolder" && !types_.GetShowSearchFolders()) ||
      (kind == "TasksFolder" && !types_.GetShowTaskFolders()) || (kind == "Folder" && !types_.GetShowMessageFolders()))
    return false;
  const string name = row.SelectSingleElement("DistinguishedFolderId", kSelectQuiet).GetText();
  return !((name == "inbox" && !types_.GetShowInbox()) || (name == "outbox" && !types_.GetShowOutbox()) ||
           (name == "deleteditems" && !types_.GetShowDeletedItems()) ||
           (name == "sentitems" && !types_.GetShowSentItems()) || (name == "journal" && !types_.GetShowJournal()) ||
           (name == "notes" && !types_.GetShowNotes()));
}

std::vector<FolderWindow::Folder> FolderWindow::Children(IVqEWSFolder& parent, int depth) {
  std::vector<Folder> children;
  const auto rows = parent.GetSubFolders();
  for (rows->Open(); !rows->Eof(); rows->Next()) {
    const IVqDOMElement row = rows->GetRowElement();
    if (!IsShown(row)) continue;
    TEwsFolder folder(row);
    Folder child;
    child.Id.Assign(folder.GetFolderId());
    child.Name = folder.GetDisplayName();
    child.Depth = depth;
    child.HasChildren = folder.GetChildFolderCount() > 0;
    children.push_back(std::move(child));
  }
  return children;
}

void FolderWindow::Draw(const std::string& remark) {
  screen_.Clear();
  screen_.Write(0, 0, title_.utf8());
  screen_.Write(1, 0, "Mailbox: " + (mailbox_.empty() ? std::string("my own") : mailbox_.utf8()));
  std::vector<std::string> lines;
  for (const Folder& folder : folders_)
    lines.push_back(std::string(static_cast<std::size_t>(folder.Depth) * 2, ' ') +
                    (folder.Open          ? "- "
                     : folder.HasChildren ? "+ "
                                          : "  ") +
                    folder.Name.utf8());
  screen_.WriteList(3, 0, screen_.Height() - 6, 0, lines, at_);
  screen_.Write(screen_.Height() - 2, 0, remark);
  screen_.Write(screen_.Height() - 1, 0,
                std::string("Arrows move, right opens, left closes, Enter chooses, Esc cancels") +
                    (may_change_mailbox_ ? ", m another mailbox" : ""));
  screen_.Show();
}

void FolderWindow::Toggle(bool open) {
  Folder& folder = folders_[at_];
  if (folder.Open == open || !folder.HasChildren) return;
  folder.Open = open;
  const int depth = folder.Depth;
  const auto behind = folders_.begin() + static_cast<std::ptrdiff_t>(at_) + 1;
  if (open) {
    const auto loaded = store_->GetFolder(folder.Id);
    const std::vector<Folder> children = Children(*loaded, depth + 1);
    folders_.insert(behind, children.begin(), children.end());
  } else {
    const auto end = std::find_if(behind, folders_.end(), [&](const Folder& other) { return other.Depth <= depth; });
    folders_.erase(behind, end);
  }
}

std::int32_t FolderWindow::ShowModal() {
  std::string remark;
  // After a failure the tree stays what it was.
  const auto attempt = [&](const auto& action) { remark = FailureOf(action); };
  attempt([&] { Load(); });
  for (;;) {
    Draw(remark);
    const Press press = screen_.Read();
    const bool any = !folders_.empty();
    if (press.Kind == Key::escape) return 2;
    if (press.Kind == Key::up && at_ > 0) --at_;
    if (press.Kind == Key::down && at_ + 1 < folders_.size()) ++at_;
    if (press.Kind == Key::right && any) attempt([&] { Toggle(true); });
    if (press.Kind == Key::left && any) attempt([&] { Toggle(false); });
    if (press.Kind == Key::enter && any) {
      folder_ = folders_[at_];
      return 1;
    }
    std::string address;
    if (press.Is('m') && may_change_mailbox_ && screen_.Ask("Address of the mailbox:", address)) {
      const string before = mailbox_;
      attempt([&] {
        mailbox_ = address;
        Load();
      });
      if (!remark.empty()) mailbox_ = before;
    }
  }
}
