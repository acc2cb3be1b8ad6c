// Elements as JSON, and back.
//
// {"t:Message": {"@Id": "1", "t:Subject": "Hello", "t:To": ["a", "b"], "#text": "..."}}

#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore {

using namespace detail;

namespace {

/// Elements nested deeper are not written: each takes its share of the stack, whatever the limits of the document are.
constexpr std::size_t kMaxJsonDepth = 512;

class TJsonWriter {
 public:
  TJsonWriter(std::string& out, const TVqDOMData& data, bool indent) : FOut(out), FData(data), FIndent(indent) {}

  void Root(pugi::xml_node element) {
    FOut += '{';
    ++FDepth;
    Line();
    Key(element.name());
    Value(element);
    --FDepth;
    Line();
    FOut += '}';
  }

 private:
  void Line() {
    if (!FIndent) return;
    FOut += '\n';
    FOut.append(2 * FDepth, ' ');
  }

  void Quoted(std::string_view text) {
    FOut += '"';
    for (const char c : text) {
      switch (c) {
        case '"':
        case '\\':
          FOut += '\\';
          FOut += c;
          break;
        case '\n':
          FOut += "\\n";
          break;
        case '\r':
          FOut += "\\r";
          break;
        case '\t':
          FOut += "\\t";
          break;
        default:
          FOut += c;  // a document has no other controls
      }
    }
    FOut += '"';
  }

  void Key(std::string_view name) {
    Quoted(name);
    FOut += FIndent ? ": " : ":";
  }

  /// The members of an object, comma and line of each.
  void Member(bool& first, std::string_view name) {
    if (!first) FOut += ',';
    first = false;
    Line();
    Key(name);
  }

  void Value(pugi::xml_node element) {
    if (FElements == kMaxJsonDepth) throw EVqException("The elements are nested too deep for JSON.");
    ++FElements;
    const pugi::xml_attribute attribute = Live(element.first_attribute());
    const pugi::xml_node child = FirstElement(element);
    std::string text = ValueOf(FData, element);
    for (pugi::xml_node node = element.first_child(); node; node = node.next_sibling()) {
      if (IsText(node)) text += ValueOf(FData, node);
    }
    if (!attribute && !child) {
      Quoted(text);
      --FElements;
      return;
    }
    // White space between children is layout.
    if (child && text.find_first_not_of(" \t\r\n") == std::string::npos) text.clear();
    FOut += '{';
    ++FDepth;
    bool first = true;
    for (pugi::xml_attribute a = attribute; a; a = Live(a.next_attribute())) {
      Member(first, "@" + std::string(NameOf(a)));
      Quoted(a.value());
    }
    if (!text.empty()) {
      Member(first, "#text");
      Quoted(text);
    }
    std::vector<std::pair<std::string_view, std::vector<pugi::xml_node>>> groups;  // in order of first appearance
    std::map<std::string_view, std::size_t> places;
    for (pugi::xml_node node = child; node; node = NextElement(node)) {
      const auto [place, fresh] = places.emplace(node.name(), groups.size());
      if (fresh) groups.push_back({node.name(), {}});
      groups[place->second].second.push_back(node);
    }
    for (const auto& [name, nodes] : groups) {
      Member(first, name);
      if (nodes.size() == 1) {
        Value(nodes[0]);
        continue;
      }
      FOut += '[';
      ++FDepth;
      bool begin = true;
      for (const pugi::xml_node node : nodes) {
        if (!begin) FOut += ',';
        begin = false;
        Line();
        Value(node);
      }
      --FDepth;
      Line();
      FOut += ']';
    }
    --FDepth;
    --FElements;
    Line();
    FOut += '}';
  }

  std::string& FOut;
  const TVqDOMData& FData;
  bool FIndent;
  std::size_t FDepth = 0;     // of the lines
  std::size_t FElements = 0;  // around the one that is written, itself included
};

/// Escapes what the encoding lacks; outside of its texts JSON has nothing but ASCII.
std::string Escaped(std::string_view json, std::int32_t codePage) {
  std::string out;
  for (std::size_t i = 0, length; i<json.size(); i += length> 0 ? length : 1) {
    const char32_t c = DecodeUtf8(json, i, length);
    if (HasCharacter(codePage, c)) {
      out.append(json.substr(i, length));
      continue;
    }
    char text[16];
    if (c > 0xFFFF) {
      std::snprintf(text, sizeof text, "\\u%04x\\u%04x", static_cast<unsigned>(0xD7C0 + (c >> 10)),
                    static_cast<unsigned>(0xDC00 | (c & 0x3FF)));
    } else {
      std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
    }
    out += text;
  }
  return out;
}

/// Builds elements while the parser reads, so that no second tree of values is needed and depth is bounded.
class TJsonReader final : public nlohmann::json_sax<nlohmann::json> {
 public:
  TJsonReader(IVqDOMElement target, std::uint32_t maxDepth) : FTarget(std::move(target)), FMaxDepth(maxDepth) {}

  bool null() override { return Scalar(""); }
  bool boolean(bool value) override { return Scalar(value ? "true" : "false"); }
  bool number_integer(std::int64_t value) override { return Scalar(std::to_string(value)); }
  bool number_unsigned(std::uint64_t value) override { return Scalar(std::to_string(value)); }
  bool number_float(double, const std::string& text) override { return Scalar(text); }
  bool string(std::string& value) override { return Scalar(value); }
  bool binary(nlohmann::json::binary_t&) override { return false; }

  bool start_object(std::size_t) override {
    if (FLevels.empty()) {
      FLevels.push_back({{}, {}, false});  // the outer object, whose one member is the element
      return true;
    }
    FLevels.push_back({Next(), {}, false});
    if (FLevels.size() > FMaxDepth) throw EVqXMLError("The JSON is nested too deep.", 0, 0);
    return true;
  }
  bool key(std::string& name) override {
    FLevels.back().Key = name;
    return true;
  }
  bool end_object() override { return Leave(); }
  bool start_array(std::size_t) override {
    if (FLevels.size() < 2 || FLevels.back().InArray)
      throw EVqXMLError("The JSON has an array where none can be.", 0, 0);
    FLevels.back().InArray = true;
    return true;
  }
  bool end_array() override {
    FLevels.back().InArray = false;
    return true;
  }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    throw EVqXMLError(Format("The text is no JSON (at byte %d).", {static_cast<std::int64_t>(position)}), 0, 0);
  }
  void Finish() const {
    if (!FDone) throw EVqXMLError("The JSON has no element.", 0, 0);
  }

 private:
  struct TLevel {
    IVqDOMElement Element;
    std::string Key;
    bool InArray;
  };

  /// The element for the value that begins.
  IVqDOMElement Next() {
    TLevel& level = FLevels.back();
    if (FLevels.size() > 1) return level.Element.AddElement(level.Key);
    if (FDone) throw EVqXMLError("The JSON has more than one element.", 0, 0);
    FDone = true;
    FTarget.SetQualifiedName(level.Key);
    return FTarget;
  }
  bool Leave() {
    FLevels.pop_back();
    return true;
  }
  bool Scalar(const std::string& text) {
    if (FLevels.empty()) throw EVqXMLError("The JSON has no element.", 0, 0);
    TLevel& level = FLevels.back();
    if (FLevels.size() > 1 && level.Key == "#text") {
      const IVqDOMNode piece = TVqDOMDocument("<a>x</a>").GetDocumentElement().GetFirstChild();
      level.Element.AddChild(piece).SetText(text);
    } else if (FLevels.size() > 1 && level.Key.starts_with('@')) {
      level.Element.SetAttribute(std::string_view(level.Key).substr(1), text);
    } else {
      Next().SetText(text);
    }
    return true;
  }

  IVqDOMElement FTarget;
  std::size_t FMaxDepth;
  bool FDone = false;
  std::vector<TLevel> FLevels;
};

}  // namespace

void IVqDOMNode::SaveToJSONStream(TVqStream& AStream, std::int32_t ACodePage, bool AIndent) const {
  std::string out;
  const IVqDOMElement element =
      GetNodeType() == TVqDOMNodeType::ntDocument ? GetOwnerDocument().GetDocumentElement() : AsElement();
  if (element) {
    TJsonWriter(out, *TVqDOMFactory::Data(*this), AIndent).Root(TVqDOMFactory::Node(element));
  }
  const std::int32_t codePage = ACodePage == kVqCodePageDefault ? kVqCodePageUtf8 : ACodePage;
  CheckCodePage(codePage);
  std::string bytes;
  EncodeText(bytes, IsUnicode(codePage) ? out : Escaped(out, codePage), codePage, TVqMisfit::mQuestionMark);
  AStream.Write(bytes);
}

void IVqDOMNode::LoadFromJSONStream(TVqStream& AStream, std::int32_t ACodePage) const {
  TVqDOMData& data = Writable(*this);
  const std::string text =
      VqDecodeText(AStream.ReadAll(), ACodePage == kVqCodePageDefault ? kVqCodePageUtf8 : ACodePage);
  // Built aside, so that what is no JSON leaves the element as it was.
  TVqDOMDocument built;
  TJsonReader reader(built.CreateRootNode("json"), data.Limits.MaxDepth);
  nlohmann::json::sax_parse(text, &reader);
  reader.Finish();
  const IVqDOMElement root = built.GetDocumentElement();
  if (!FNode) {
    data.Replace(std::make_unique<TVqDOMTree>());
    AddChild(root);
    return;
  }
  WritableElement(*this);
  SetQualifiedName(root.GetQualifiedName());
  AssignContent(AsElement(), root);
}

}  // namespace velmore
