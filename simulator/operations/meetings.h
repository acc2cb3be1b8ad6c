#pragma once

// Meetings as requests handle them: who is told of what, and how attendees answer.

#include <optional>
#include <string>
#include <vector>

#include "simulator/operations/operations.h"

namespace velmore::simulator {

/// What SendMeetingInvitations and its kin ask for.
struct Notices {
  bool send = false;
  bool only_changed = false;
  bool save_copy = false;

  explicit Notices(const std::string& disposition);
};

/// Tells the attendees of a meeting of its present state, and those who are no longer invited that they are not. Does
/// nothing for what is no meeting, or is somebody else's. `content_changed`: something besides the lists of attendees.
void Invite(Context& context, const Found& found, const Notices& notices, bool content_changed);

/// Tells everybody who was invited that a meeting, or an occurrence of one, does not take place. Gives the message that
/// went out; null when there was nobody to tell.
std::shared_ptr<Item> Cancel(Context& context, const Found& found, bool save_copy, const Element* body = nullptr);

/// Copies of an invitation or cancellation go to the delegates of the mailbox that got it, where its owner wants that.
void CopyToDelegates(Store& store, Mailbox& mailbox, const std::string& entry_id);

/// Keeps what is known of the answers of attendees whose lists were written anew.
void KeepTracking(const Item& before, Item& after);

/// AcceptItem, TentativelyAcceptItem, DeclineItem, CancelCalendarItem, RemoveItem.
bool IsMeetingAnswer(const std::string& element);
/// Carries one of them out; gives the items that changed by it, the appointment first.
std::vector<Element> AnswerMeeting(Context& context, const Element& response, const Element& request);

}  // namespace velmore::simulator
