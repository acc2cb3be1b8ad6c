#pragma once

// Response objects of CreateItem.

#include <memory>
#include <string>

#include "simulator/operations/operations.h"

namespace velmore::simulator {

/// ReplyToItem, ReplyAllToItem, ForwardItem, PostReplyItem, SuppressReadReceipt.
bool IsResponseObject(const std::string& element);

/// A message or post with the quoted body, the headers and the attachments that an answer of this kind has.
std::shared_ptr<Item> MakeAnswer(Context& context, const Element& response, const Found& original);

/// Notes on the original that it was answered, now that the answer has gone out. Does nothing for other messages.
void MarkAnswered(Context& context, Item& sent);

/// The reader of a message does not want its sender to know.
void SuppressReadReceipt(Context& context, const Found& found);

}  // namespace velmore::simulator
