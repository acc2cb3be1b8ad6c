#pragma once

/// Large texts that are kept once, however many show them: the reply that they came with, an item, a request.
///
///     TVqSharedText content = CutText(bytes, "Content");    // what is parsed then has an empty element
///     ShareText(element, content);                          // any document shows it, without a copy
///     VqBase64Decode(*content, file);
///
/// A shared text stands apart from the tree of its document, and everything that reads a document shows it
/// nevertheless: texts, comparisons, selections, markup, JSON. Copies of the element share it, and a text that is set
/// takes its place. It never changes.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// Read by any number of threads.
using TVqSharedText = std::shared_ptr<const std::string>;

/// Cuts the text of the first element of this local name out of the bytes of a document in UTF-8, before they are
/// parsed. None, and the bytes are as they were, when there is no such element, or when its text is anything but
/// characters of ASCII that stand for themselves, as base64 is: that is for the parser.
TVqSharedText CutText(std::string& bytes, std::string_view localName);

/// Texts that were cut out of the bytes of one document: views of these, which are held once.
struct TVqCutTexts {
  std::shared_ptr<const std::string> Bytes;
  std::vector<std::string_view> Texts;
};

/// Cuts the texts of all elements of this local name, as CutText does with the first. In their places stand marks,
/// which tell which text it was; see CutTextOf. Line breaks in the texts are as they came.
TVqCutTexts CutTexts(std::string& bytes, std::string_view localName);
/// The text that was cut out of an element, or the one that stands in it: that is put into `own`, which must outlive
/// the view.
std::string_view CutTextOf(const TVqCutTexts& texts, const IVqDOMElement& element, std::string& own);

/// Replaces what is inside `target` by a text, which must be one that XML can carry. None is the empty text.
void ShareText(const IVqDOMElement& target, TVqSharedText text);

/// The text of an element, to be shared on: the one that stands apart, else a copy. None for no element.
TVqSharedText SharedTextOf(const IVqDOMElement& source);

}  // namespace velmore::detail

#pragma GCC visibility pop
