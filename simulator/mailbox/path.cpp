#include <algorithm>

#include "simulator/mailbox/view.h"

namespace velmore::simulator {

namespace {

struct IndexedRow {
  const char* uri;      // with which a request names the dictionary; a further part of an address follows behind ":"
  const char* element;  // that holds the entries
  const char* owner;
};
constexpr IndexedRow kIndexed[] = {
    {"item:InternetMessageHeader", "InternetMessageHeaders", "Item"},
    {"contacts:ImAddress", "ImAddresses", "Contact"},
    {"contacts:PhysicalAddress", "PhysicalAddresses", "Contact"},
    {"contacts:PhoneNumber", "PhoneNumbers", "Contact"},
    {"contacts:EmailAddress", "EmailAddresses", "Contact"},
    {"distributionlist:Members:Member", "Members", "DistributionList"},
};

const IndexedRow* FindIndexed(std::string_view uri) {
  for (const IndexedRow& row : kIndexed)
    if (uri == row.uri || (uri.starts_with(row.uri) && uri.size() > std::string_view(row.uri).size() &&
                           uri[std::string_view(row.uri).size()] == ':'))
      return &row;
  return nullptr;
}

}  // namespace

std::string Path::ElementName() const {
  if (extended) return {};
  if (!indexed_uri.empty()) {
    const IndexedRow* row = FindIndexed(indexed_uri);
    return row != nullptr ? row->element : std::string();
  }
  return field->member->name;
}

std::string Path::Name() const {
  if (extended) return "ExtendedProperty";
  return indexed_uri.empty() ? field->uri : indexed_uri;
}

ValueKind Path::Kind() const {
  if (extended) return extended->Kind();
  return indexed_uri.empty() ? field->member->kind : ValueKind::kString;
}

bool IsPath(const Element& element) {
  return element.name == "FieldURI" || element.name == "IndexedFieldURI" || element.name == "ExtendedFieldURI";
}

Path ParsePath(const Element& element) {
  Path path;
  if (element.name == "ExtendedFieldURI") {
    path.extended = ParseExtendedKey(element);
    return path;
  }
  const std::string& uri = element.AttributeText("FieldURI");
  const std::string* index = element.Attribute("FieldIndex");
  if (index == nullptr) {
    path.field = FindFieldUri(uri);
    if (path.field == nullptr) throw EwsError("ErrorInvalidPropertyRequest");
    return path;
  }
  const IndexedRow* row = FindIndexed(uri);
  if (row == nullptr)
    throw SchemaViolation("The 'FieldURI' attribute is invalid - The value '" + uri +
                              "' is invalid according to its datatype '" + std::string(kTypesNamespace) +
                              ":DictionaryURIType' - The Enumeration constraint failed.",
                          element.line, element.column);
  path.indexed_uri = uri;
  path.index = *index;
  // The entry's member gives version and owner.
  static const auto owners = [] {
    std::vector<std::pair<std::string, FieldUri>> made;
    for (const IndexedRow& r : kIndexed)
      made.emplace_back(r.element, FieldUri{r.uri, Schema::Instance().Type(r.owner)->Find(r.element), r.owner});
    return made;
  }();
  for (const auto& [name, field] : owners)
    if (name == row->element) path.field = &field;
  return path;
}

Element WritePath(const Path& path) {
  if (path.extended) return WriteExtendedKey(*path.extended);
  if (path.indexed_uri.empty()) {
    Element element = Types("FieldURI");
    element.Set("FieldURI", path.field->uri);
    return element;
  }
  Element element = Types("IndexedFieldURI");
  element.Set("FieldURI", path.indexed_uri);
  element.Set("FieldIndex", path.index);
  return element;
}

EwsError Refusal(const char* code, const Path& path) {
  EwsError error(code);
  error.details.push_back(WritePath(path));
  return error;
}

Shape ParseShape(const Element& element) {
  Shape shape;
  const std::string& base = element.ChildText("BaseShape");
  if (base == "AllProperties") shape.base = Shape::Base::kAll;
  if (base == "Default") shape.base = Shape::Base::kDefault;
  const auto kind = [&](const char* name) {
    const std::string& text = element.ChildText(name);
    if (text == "HTML") return Shape::BodyKind::kHtml;
    return text == "Text" ? Shape::BodyKind::kText : Shape::BodyKind::kBest;
  };
  shape.mime = IsTrue(element.ChildText("IncludeMimeContent"));
  shape.body = kind("BodyType");
  shape.unique_body = element.Child("UniqueBodyType") != nullptr ? kind("UniqueBodyType") : shape.body;
  shape.normalized_body = element.Child("NormalizedBodyType") != nullptr ? kind("NormalizedBodyType") : shape.body;
  if (const std::string& size = element.ChildText("MaximumBodySize"); !size.empty())
    shape.max_body = static_cast<std::size_t>(std::max(0L, std::strtol(size.c_str(), nullptr, 10)));
  if (const Element* additional = element.Child("AdditionalProperties"))
    for (const Element& child : additional->children) shape.additional.push_back(ParsePath(child));
  return shape;
}

}  // namespace velmore::simulator
