#pragma once

// Messages about meetings, as they are written; who sends them to whom is the business of meetings.h.

#include <memory>

#include "simulator/operations/operations.h"

namespace velmore::simulator {

/// A message about a meeting, from its organizer's mailbox or an attendee's.
std::shared_ptr<Item> MeetingMessage(const Context& context, const Mailbox& from, const Item& meeting,
                                     const char* element, const char* item_class);
/// An invitation to a meeting, in its present state.
std::shared_ptr<Item> Invitation(const Context& context, const Mailbox& from, const Item& meeting);

/// Is this a meeting, or an invitation to one, so that forwarding it invites?
bool CanInvite(const Item& item);
/// The invitation with which somebody passes a meeting on.
std::shared_ptr<Item> PassOn(Context& context, const Found& meeting);

}  // namespace velmore::simulator
