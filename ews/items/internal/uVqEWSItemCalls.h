#pragma once

/// The requests of items: their operations, and what fills them, for one item or for many.

#include <span>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSItemInterfaces.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// What carries a new item, whether it is saved or sent.
inline constexpr TVqEWSOperation kCreateItem{"CreateItem", "m:CreateItemResponse", TVqEWSAnswerPath::prefixed};
/// What carries the changes of an item, and what sends a saved message.
inline constexpr TVqEWSOperation kUpdateItem{"UpdateItem", "m:UpdateItemResponse"};
inline constexpr TVqEWSOperation kSendItem{"SendItem", "m:SendItemResponse", TVqEWSAnswerPath::prefixed};

/// An item's element in an answer, and the envelope that carries it.
struct TVqEWSLoadedItem {
  IVqDOMElement Element;
  TVqRef<IVqSOAPEnvelope> Envelope;
};

/// Fills an m:GetItem that asks for all members, or for the MIME text alone.
void EwsAskForItems(const TVqEWSCall& ACall, std::span<const TItemId> AIds);
void EwsAskForMime(const TVqEWSCall& ACall, std::span<const TItemId> AIds);
/// Fills an m:SendItem.
void EwsAskToSend(const TVqEWSCall& ACall, std::span<const TItemId> AIds, bool AMoveToSentItems,
                  TServerVersion AVersion);

/// Takes away the members of a new item that hold nothing: getters made them on their way.
void EwsRemoveEmptyMembers(const IVqDOMElement& AItem);

}  // namespace velmore

#pragma GCC visibility pop
