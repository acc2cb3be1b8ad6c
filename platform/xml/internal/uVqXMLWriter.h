#pragma once

/// A tree as text.

#include <string>

#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

struct TVqWriteOptions {
  bool Indent = false;
  /// What the result is encoded in. The writers below append bytes of this code page.
  std::int32_t CodePage = kVqCodePageUtf8;
  bool Declaration = false;
};

/// Appends the markup of a node; of a document everything in it; of an attribute its name and value.
void WriteNode(std::string& out, const IVqDOMNode& node, const TVqWriteOptions& options);
/// Appends the markup of what is inside a node.
void WriteInside(std::string& out, const IVqDOMNode& node, const TVqWriteOptions& options);

}  // namespace velmore::detail

#pragma GCC visibility pop
