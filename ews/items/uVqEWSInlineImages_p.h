#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// What the content ids of pictures begin with that a save moved out of the body; a number follows.
inline constexpr const char* kInlineImageName = "_inlineImg";

/// Given the content id of a picture, its MIME type and its content, which is its to keep.
using TVqInlineImageEvent =
    std::function<void(const string& AName, const string& AMimeType, std::unique_ptr<TVqStream> AContent)>;

/// Finds the pictures of an HTML text whose `src` is a "data:" text or a "file:" that exists, hands each over and puts "cid:" and its name in
/// place of the old value. Only values in double quotes are recognised, and `src` is looked for at the first "s" of the tag. Gives false, and
/// leaves `AOutput`, when there is none. Raises EConvertError for a "data:" text that is no base64.
bool VqMoveInlineImages(const std::string& AHtml, std::string& AOutput, const TVqInlineImageEvent& AImage);

}  // namespace velmore
