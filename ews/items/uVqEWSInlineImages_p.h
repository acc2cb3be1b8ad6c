#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/common/uVqClasses.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// What the content ids of pictures begin with that a save moved out of the body; a number follows.
inline constexpr const char* kInlineImageName = "_inlineImg";

/// What is done with the pictures of an HTML text.
struct TVqInlineImages {
  /// Whether a file is taken that a source names ("file:///home/ann/cat.png").
  std::function<bool(const std::string& ASource)> TakesFile;
  /// Whether a content id has a picture already.
  std::function<bool(const std::string& AName)> IsTaken;
  /// Given the content id of a picture, its MIME type and its content, which is its to keep.
  std::function<void(const string& AName, const string& AMimeType, std::unique_ptr<TVqStream> AContent)> Take;
};

/// Finds the pictures of an HTML text whose `src` is a "data:" text of base64 or a "file:" that exists, hands each over
/// and puts "cid:" and its name in place of the old value. Names are numbered from 0, past those that are taken. Only
/// values in double quotes are recognised, and `src` is looked for at the first "s" of the tag. Gives false, and leaves
/// `AOutput`, when there is none. Raises EConvertError for a "data:" text that is no base64.
bool VqMoveInlineImages(const std::string& AHtml, std::string& AOutput, const TVqInlineImages& AImages);

/// Whether the text names this content id ("cid:_inlineImg1", and not "cid:_inlineImg10").
bool VqShowsInlineImage(std::string_view AHtml, const std::string& AName);

}  // namespace velmore

#pragma GCC visibility pop
