#include "ews/model/internal/uVqEWSCall.h"
#include "ews/stores/uVqEWSFolderPath_p.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {
namespace {

// What listings of the server write for a slash in a name, whose own separator is the slash.
constexpr char16_t kListedSlash = 0xF8FF;

/// One step: the subfolder of that name, or none. Two names may differ in case alone where another program made them.
IVqDOMElement FindBelow(TVqEWSObject& object, const TVqEWSFolderPath::TStart& parent, const string& name) {
  TVqEWSCall call(object, "FindFolder");
  call.Set("Traversal", VqEnumToText(ftShallow));
  call.Add("m:FolderShape/t:BaseShape").SetText("IdOnly");
  call.Add("m:FolderShape/t:AdditionalProperties/t:FieldURI").SetAttribute("FieldURI", "folder:DisplayName");
  const IVqDOMElement view = call.Add("m:IndexedPageFolderView");
  view.SetAttribute("MaxEntriesReturned", "50");
  view.SetAttribute("Offset", "0");
  view.SetAttribute("BasePoint", "Beginning");
  const IVqDOMElement contains = call.Add("m:Restriction/t:Contains");
  contains.SetAttribute("ContainmentMode", VqEnumToText(cmFullString));
  contains.SetAttribute("ContainmentComparison", VqEnumToText(ccIgnoreCase));
  contains.AddElement("t:FieldURI").SetAttribute("FieldURI", "folder:DisplayName");
  contains.AddElement("t:Constant").SetAttribute("Value", name);
  const IVqDOMElement ids = call.Add("m:ParentFolderIds");
  if (const auto* id = std::get_if<TItemId>(&parent)) {
    call.AddId(ids, "t:FolderId", *id);
  } else {
    ids.AddElement("t:DistinguishedFolderId")
        .SetAttribute("Id", VqEnumToText(std::get<TDistinguishedFolderIdName>(parent)));
  }
  IVqDOMElement found;
  for (const IVqDOMElement& folder :
       call.Send().SelectSingleElement("RootFolder/Folders", kSelectRequired).GetChildElements()) {
    const string shown = folder.SelectSingleElement("DisplayName", kSelectQuiet).GetText();
    if (shown == name) return folder;
    if (!found && SameText(shown, name)) found = folder;
  }
  return found;
}

}  // namespace

string VqFolderPathPart(const string& AName) {
  return AName.Replace(u"\\", u"\\\\").Replace(u"/", u"\\/");
}

std::vector<string> VqFolderPathParts(const string& APath) {
  std::vector<string> parts(1);
  const std::u16string_view text = APath.view();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escapes = text[i] == u'\\' && i + 1 < text.size() && (text[i + 1] == u'/' || text[i + 1] == u'\\');
    if (escapes) {
      parts.back() += text[++i];
    } else if (text[i] == u'/') {
      parts.emplace_back();
    } else {
      parts.back() += text[i] == kListedSlash ? u'/' : text[i];
    }
  }
  if (parts.size() > 1 && parts.front().empty()) parts.erase(parts.begin());
  if (parts.size() > 1 && parts.back().empty()) parts.pop_back();
  for (const string& part : parts) {
    if (part.empty()) throw EVqException(Format("The path \"%s\" of a folder has an empty part.", {APath}));
  }
  return parts;
}

std::optional<TVqEWSFolderPath::TPlace> TVqEWSFolderPath::Find(TVqEWSObject& AObject, const TStart& AStart) {
  TStart at = AStart;
  TPlace place;
  for (FFound = 0; FFound < FParts.size(); ++FFound) {
    const IVqDOMElement folder = FindBelow(AObject, at, FParts[FFound]);
    if (!folder) return std::nullopt;
    place = {EwsReadId(folder.SelectSingleElement("FolderId", kSelectRequired)), folder.GetLocalName()};
    at = place.Id;
  }
  return place;
}

TVqEWSFolderPath::TPlace TVqEWSFolderPath::Get(TVqEWSObject& AObject, const TStart& AStart) {
  if (const auto place = Find(AObject, AStart)) return *place;
  string above;
  for (std::size_t i = 0; i < FFound; ++i) above += (i == 0 ? string() : string("/")) + VqFolderPathPart(FParts[i]);
  const string& missing = FParts[FFound];
  throw EEWSException("ErrorFolderNotFound",
                      above.empty() ? Format("There is no folder \"%s\".", {missing})
                                    : Format("There is no folder \"%s\" in \"%s\".", {missing, above}),
                      0);
}

}  // namespace velmore
