#pragma once

// How items and folders look from outside: shapes, additional properties, values for restrictions and sorting.

#include <optional>
#include <string>
#include <vector>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// A field as a request names it.
struct Path {
  const FieldUri* field = nullptr;  // null for an extended property
  std::string index;                // of an indexed field
  std::string indexed_uri;          // "contacts:PhoneNumber"
  std::optional<ExtendedKey> extended;

  /// Element that the field stands in ("PhoneNumbers" for an indexed one); empty for an extended property.
  std::string ElementName() const;
  /// The name that messages and MessageXml use.
  std::string Name() const;
  ValueKind Kind() const;
};
/// Reads t:FieldURI, t:IndexedFieldURI or t:ExtendedFieldURI.
Path ParsePath(const Element& element);
bool IsPath(const Element& element);
/// Writes a path as Exchange puts it into MessageXml.
Element WritePath(const Path& path);
/// An error that tells which field it is about.
EwsError Refusal(const char* code, const Path& path);

struct Shape {
  enum class Base { kIdOnly, kDefault, kAll };
  enum class BodyKind { kBest, kHtml, kText };
  Base base = Base::kIdOnly;
  std::vector<Path> additional;
  bool mime = false;
  BodyKind body = BodyKind::kBest;
  BodyKind normalized_body = BodyKind::kBest;
  BodyKind unique_body = BodyKind::kBest;
  bool found = false;  // rows of FindItem and FindFolder: no bodies, no recipients
  std::size_t max_body = 0;
};
Shape ParseShape(const Element& shape);

/// Who looks, and with which version.
struct Viewer {
  const Mailbox* mailbox = nullptr;  // that is looked into
  Rights access = Access::kOwner;
  int version = 0;  // of the request
  std::string address = {};
};

Element RenderItem(const Item& item, const Shape& shape, const Viewer& viewer);
Element RenderFolder(const Folder& folder, const Shape& shape, const Viewer& viewer);

/// XML of an item with all that the simulator holds of it, without declarations of namespaces.
std::string DumpItem(const Mailbox& mailbox, const Item& item, int version);

/// t:ItemId and t:FolderId.
Element ItemIdElement(const Mailbox& mailbox, const Item& item, const char* name = "ItemId");
Element FolderIdElement(const Mailbox& mailbox, const Folder& folder, const char* name = "FolderId");
/// t:FileAttachment or t:ItemAttachment without content.
Element RenderAttachment(const Mailbox& mailbox, const Item& item, const Attachment& attachment, const Viewer& viewer);

/// A stored or computed property of an item; nothing when it has none.
std::optional<Element> PropertyOf(const Item& item, const Member& member, const Shape& shape, const Viewer& viewer);
/// An extended property, stored or standing for a property of the schema (PR_SUBJECT and the like).
std::optional<ExtendedValue> ExtendedOf(const Item& item, const ExtendedKey& key, const Viewer& viewer);
std::optional<ExtendedValue> ExtendedOf(const Folder& folder, const ExtendedKey& key, const Viewer& viewer);

/// Texts of a field for comparison: none when it is absent, several for a list.
std::vector<std::string> ValuesOf(const Item& item, const Path& path, const Viewer& viewer);
std::vector<std::string> ValuesOf(const Folder& folder, const Path& path, const Viewer& viewer);

}  // namespace velmore::simulator
