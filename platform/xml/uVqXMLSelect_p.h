#pragma once

/// Selections: the compiled form, and finding and making what it describes.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/xml/uVqXMLDOMData_p.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

struct [[gnu::visibility("hidden")]] TVqDOMPath;  // named by a public header

/// A name in an expression, in the forms that the options ask for.
struct TVqNameTest {
  std::string Qualified;  // as written
  std::size_t Local = 0;  // where the local name starts in it

  bool IsAny() const noexcept { return Qualified == "*"; }
  std::string_view LocalName() const noexcept { return std::string_view(Qualified).substr(Local); }
};
/// A name from an argument.
TVqNameTest NameTest(std::string_view qualified);

/// How names are compared under a set of options.
enum class TVqNameMode : std::uint8_t { nmQualified, nmQualifiedNoCase, nmLocal, nmLocalNoCase };
TVqNameMode ModeOf(TVqDOMSelectOptions options) noexcept;
bool Matches(const TVqNameTest& test, const char* name, TVqNameMode mode) noexcept;
/// The first child element with a name, which is not "*".
pugi::xml_node SelectChild(const TVqNameTest& test, TVqNameMode mode, pugi::xml_node parent) noexcept;

struct TVqPredicate {
  enum class Kind : std::uint8_t { kPosition, kAttribute, kChild, kText };
  Kind What = Kind::kPosition;
  bool HasValue = false;  // else: exists
  bool AsNumber = false;  // compare both sides as numbers
  std::size_t Position = 0;
  std::vector<TVqNameTest> Names;  // the attribute, or the path to the child
  std::string Value;
};

struct TVqStep {
  enum class Kind : std::uint8_t { kChild, kDescendant, kParent, kSelf };
  Kind What = Kind::kChild;
  TVqNameTest Name;
  std::vector<TVqPredicate> Predicates;
};

struct TVqDOMPath {
  std::string Text;
  bool FromRoot = false;  // starts at the document instead of the node
  bool Sorts = false;     // what is found must be put into document order
  bool Repeats = false;   // may find a node more than once
  bool Direct = false;    // names a child and no more, as most do: SelectChild finds it
  std::vector<TVqStep> Steps;
};

/// Compiles an expression. Raises EVqXMLError with the place.
std::shared_ptr<const TVqDOMPath> CompilePath(std::string_view text);
/// The same from this thread's store of compiled ones.
const TVqDOMPath& CachedPath(std::string_view text);

/// Where a selection looks: from a node, or the document, in one of the trees of a document.
struct TVqPlace {
  const TVqDOMData& Data;
  const TVqDOMTree& Tree;
  pugi::xml_node Context;
};

/// The first element, or none.
pugi::xml_node SelectFirst(const TVqDOMPath& path, TVqDOMSelectOptions options, const TVqPlace& place);
/// All, in document order.
std::vector<void*> SelectAll(const TVqDOMPath& path, TVqDOMSelectOptions options, const TVqPlace& place);
/// The first element, made if it is not there. `prefix`, if not null, is given to new elements that are written without
/// one. Raises EVqXMLError for what cannot be made.
pugi::xml_node SelectOrCreate(TVqDOMData& data, const TVqDOMPath& path, TVqDOMSelectOptions options,
                              const TVqPlace& place, const std::string* prefix = nullptr);

/// The attribute of an element under the options, removed ones aside.
pugi::xml_attribute FindAttribute(pugi::xml_node element, const TVqNameTest& name, TVqNameMode mode) noexcept;
/// A value as the number that it writes, decimal or hexadecimal; false when it is none.
bool NumberOf(std::string_view text, std::int64_t& value) noexcept;

}  // namespace velmore::detail

#pragma GCC visibility pop
