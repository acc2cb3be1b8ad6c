#pragma once

// Elements that getters make on their way: they are no content, at whatever depth they stand.

#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// True for an element without text and attributes that has no children, or none but such; and for an entry of a
/// dictionary that has its key alone.
bool EwsIsEmpty(const IVqDOMElement& AElement);
/// The first child that is not empty, or none.
IVqDOMElement EwsFirstPart(const IVqDOMElement& AElement);
/// Whether two elements have the same parts with the same texts and attributes. Empty elements do not count, nor do the
/// attributes of the two themselves.
bool EwsSameParts(const IVqDOMElement& A, const IVqDOMElement& B);
/// Whether two elements have the same attributes.
bool EwsSameAttributes(const IVqDOMElement& A, const IVqDOMElement& B);
/// The same parts and attributes; an element that is absent is one that is empty.
bool EwsSameValue(const IVqDOMElement& A, const IVqDOMElement& B);

}  // namespace velmore

#pragma GCC visibility pop
