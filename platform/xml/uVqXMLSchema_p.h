#pragma once

/// The inside of typed records: what a record carries only when it needs it, and the look-up of members by name.

#include <string>
#include <vector>

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLSchema.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

class [[gnu::visibility("hidden")]] TVqXMLNameIndex;      // named by a public header
struct [[gnu::visibility("hidden")]] TVqXMLSchemaExtras;  // named by a public header

inline std::string_view LocalName(std::string_view name) noexcept {
  return name.substr(name.find(':') + 1);  // npos + 1 is 0: a name without prefix is its own local name
}

std::size_t HashOfName(std::string_view name) noexcept;

/// Names of a class's members over the whole chain, hashed. Built once, then only read.
class TVqXMLNameIndex {
 public:
  explicit TVqXMLNameIndex(const TVqXMLSchemaClass& schema);

  /// Index of the member with exactly this name, or -1.
  std::int32_t FindExact(std::string_view name) const noexcept { return Look(FExact, name); }
  /// The same, or the member with this local name.
  std::int32_t Find(std::string_view name) const noexcept {
    const std::int32_t found = Look(FExact, name);
    return found >= 0 ? found : Look(FLocal, name);
  }

 private:
  struct TSlot {
    std::string_view Name;
    std::int32_t Index = -1;
  };
  using TTable = std::vector<TSlot>;  // open addressing, a power of two

  static void Put(TTable& table, std::string_view name, std::int32_t index);
  static std::int32_t Look(const TTable& table, std::string_view name) noexcept;

  TTable FExact;
  TTable FLocal;
};

/// A member that an application registered at run time.
struct TVqXMLOwnMember {
  TVqXMLOwnMember(TVqXMLSchemaInfo info, std::string name) : Info(std::move(info)), Name(std::move(name)) {}

  TVqXMLSchemaInfo Info;
  std::string Name;

  template <typename TMember>
  TMember AsMember() const {
    return {Name, Info.GetNodeType() == TVqDOMNodeType::ntAttribute, &Info, Info.GetIndex()};
  }
};

/// Where the members of a record stand. A record that is read member by member would walk its children for each; this
/// one walks them once, from the third member on that is looked for while no element comes, goes or changes its name.
class TVqXMLPlaces {
 public:
  /// The first child element with the name of the member at this index, one of `count`.
  TVqRawElement Find(TVqRawElement element, const TVqXMLNameIndex& names, std::int32_t count, std::string_view name,
                     std::int32_t index);

 private:
  static constexpr std::uint32_t kWorthIt = 3;

  std::vector<void*> FNodes;  // by index; empty while they are not known
  std::uint32_t FStructure = 0;
  std::uint32_t FLooks = 0;
};

struct TVqXMLChildRecord {
  std::unique_ptr<TVqXMLSchemaElement> Record;
  TVqXMLSchemaClass::TFactory Factory;
};

struct TVqXMLChildArray {
  std::int32_t Index;
  ArrayFactory Factory;
  std::unique_ptr<TVqXMLSchemaArray> Array;
};

struct TVqXMLSchemaExtras {
  TVqXMLPlaces Places;
  std::vector<TVqXMLChildRecord> Children;
  std::vector<TVqXMLChildArray> Arrays;
  std::vector<std::unique_ptr<TVqXMLSchemaElement>> ParkedRecords;
  std::vector<std::unique_ptr<TVqXMLSchemaArray>> ParkedArrays;
  std::vector<std::unique_ptr<TVqXMLOwnMember>> OwnMembers;
  TVqGetSOAPElementEvent OnGetSOAPElement;
};

/// Remembers that an empty element of this name was inserted just now, for `OnlyOthersInserted`.
void NoteInsertion(const IVqDOMElement& element, std::string_view name);
/// True when all that changed in the document's structure since `structure` are new empty elements of other names.
bool OnlyOthersInserted(const IVqDOMElement& element, std::string_view name, std::uint32_t structure);

/// A new child element behind the last sibling that the sequence puts before it, else in front of the first one that
/// it puts after it, else last. Siblings that `rankOf` does not know (-1) stay where they are.
template <typename TRankOf>
IVqDOMElement InsertAtRank(const IVqDOMElement& parent, std::string_view name, std::int32_t rank, TRankOf rankOf) {
  TVqRawElement before, after;
  for (TVqRawElement child = TVqRawElement(parent).FirstChild(); child; child = child.Next()) {
    const std::int32_t other = rankOf(child.Name());
    if (other < 0) continue;
    if (other <= rank) {
      before = child;
    } else if (!after) {
      after = child;
    }
  }
  const IVqDOMElement made = before ? InsertChildAfter(parent, name, before) : InsertChildBefore(parent, name, after);
  NoteInsertion(made, name);
  return made;
}

}  // namespace velmore::detail

#pragma GCC visibility pop
