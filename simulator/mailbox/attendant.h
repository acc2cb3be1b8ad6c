#pragma once

// What a mailbox does by itself with meeting messages that arrive: invitations go into the calendar, answers move the
// organizer's tracking, cancellations mark what they cancel.

#include <memory>
#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// The appointment or series of this id in a mailbox's calendar; null when there is none.
std::shared_ptr<Item> FindMeeting(const Mailbox& mailbox, const std::string& uid);

/// The occurrence of a series that begins at this time by its recurrence, made an exception so that it can be changed.
/// Null when the series has none, or it was deleted.
std::shared_ptr<Item> OpenException(Mailbox& mailbox, Item& master, Seconds original);

/// Carries out a meeting message that stands in the inbox of a mailbox now. Does nothing for other items.
void AttendTo(Mailbox& mailbox, Item& message);

/// Copies what an appointment and the messages about it have in common.
void CopyMeeting(const Item& from, Item& to);

/// The item that a meeting message is about, as it stands in this mailbox; nothing when it is not there.
std::optional<Element> AssociatedItem(const Mailbox& mailbox, const Item& message);

/// Looks for an attendee by address in all lists of a meeting; null when nobody is found.
Element* FindAttendee(Item& meeting, const std::string& address);

}  // namespace velmore::simulator
