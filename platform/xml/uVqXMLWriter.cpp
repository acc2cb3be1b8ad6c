#include "platform/xml/internal/uVqXMLWriter.h"

#include <cstring>

#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

/// Writes UTF-8. Walks without recursion, so that no depth of a tree is too much.
constexpr std::size_t kLargeText = 1 << 20, kBehindLargeText = 64 << 10;

const char* Reference(char c) {
  switch (c) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    default:
      return "&#13;";
  }
}

// Appends a text, the special characters in it as references.
void AppendEscaped(std::string& out, const char* text, const char* special) {
  for (;;) {
    const std::size_t plain = std::strcspn(text, special);
    // What outweighs everything else is not to be copied again for what follows it.
    if (plain >= kLargeText && plain > out.size()) out.reserve(out.size() + plain + kBehindLargeText);
    out.append(text, plain);
    text += plain;
    const char c = *text++;
    if (c == '\0') return;
    out += Reference(c);
  }
}

class TWriter {
 public:
  TWriter(std::string& out, const TVqDOMData& data, const TVqWriteOptions& options)
      : FOut(out), FData(data), FOptions(options) {}

  void Tree(pugi::xml_node top) {
    pugi::xml_node node = top;
    std::size_t depth = 0;
    for (;;) {
      if (Open(node, depth)) {
        node = node.first_child();
        ++depth;
        continue;
      }
      for (;;) {
        if (node == top) return;
        if (const pugi::xml_node next = node.next_sibling()) {
          node = next;
          break;
        }
        node = node.parent();
        --depth;
        Close(node, depth);
      }
    }
  }

  void Children(pugi::xml_node parent, const TVqDOMTree& tree) {
    const bool indent = FOptions.Indent;
    if (IsElement(parent)) {
      if (indent && IsContainer(parent)) {
        FContainers = 0;
        bool first = true;
        for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
          if (IsText(child)) continue;
          if (!first) FOut += '\n';
          first = false;
          FAtStart = true;
          Tree(child);
        }
        return;
      }
      Escape(ValueOf(FData, parent));
    }
    for (pugi::xml_node child = tree.Skip(parent.first_child()); child; child = tree.Skip(child.next_sibling())) {
      FAtStart = true;
      Tree(child);
    }
  }

  void Attribute(pugi::xml_attribute attribute) {
    Name(NameOf(attribute).data());
    FOut += "=\"";
    AppendEscapedValue(FOut, attribute.value());
    FOut += '"';
  }

 private:
  /// Only elements and comments inside, white space aside: those may be put on lines of their own.
  bool IsContainer(pugi::xml_node element) const {
    if (!Blank(ValueOf(FData, element))) return false;
    bool children = false;
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
      if (child.type() == pugi::node_cdata || (IsText(child) && !Blank(ValueOf(FData, child)))) return false;
      children = children || !IsText(child);
    }
    return children;
  }
  static bool Blank(const char* text) { return text[std::strspn(text, " \t\r\n")] == '\0'; }

  /// True in a container whose white space gives way to the indentation.
  bool InContainer(std::size_t depth) const { return FOptions.Indent && depth == FContainers; }

  void Line(std::size_t depth) {
    if (!FAtStart) FOut += '\n';
    FAtStart = false;
    FOut.append(2 * depth, ' ');
  }

  /// Writes a node up to where its children begin; true when it has some.
  bool Open(pugi::xml_node node, std::size_t depth) {
    const bool own_line = InContainer(depth);
    if (own_line && !IsText(node)) Line(depth);
    switch (node.type()) {
      case pugi::node_element:
        return Start(node, depth);
      case pugi::node_pcdata:
        if (!own_line || depth == 0) Escape(ValueOf(FData, node));
        return false;
      case pugi::node_cdata:
        Section(node.value());
        return false;
      case pugi::node_comment:
        FOut.append("<!--").append(node.value()).append("-->");
        return false;
      default:
        FOut.append("<?");
        Name(node.name());
        if (node.value()[0] != '\0') FOut.append(" ").append(node.value());
        FOut.append("?>");
        return false;
    }
  }

  bool Start(pugi::xml_node element, std::size_t depth) {
    FOut += '<';
    Name(element.name());
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      FOut += ' ';
      Attribute(attribute);
    }
    const pugi::xml_node child = element.first_child();
    const char* text = ValueOf(FData, element);
    if (!child && text[0] == '\0') {
      FOut += "/>";
      return false;
    }
    FOut += '>';
    if (InContainer(depth) && IsContainer(element)) {
      FContainers = depth + 1;
    } else {
      Escape(text);
    }
    if (child) return true;
    FOut.append("</").append(element.name()).append(">");
    return false;
  }

  void Close(pugi::xml_node element, std::size_t depth) {
    if (FOptions.Indent && FContainers == depth + 1) {
      FContainers = depth;
      Line(depth);
    }
    FOut.append("</").append(element.name()).append(">");
  }

  void Name(const char* name) {
    if (!IsUnicode(FOptions.CodePage)) {
      const std::string_view view(name);
      for (std::size_t i = 0, length; i < view.size(); i += length) {
        if (!HasCharacter(FOptions.CodePage, DecodeUtf8(view, i, length))) {
          throw EConvertError("The name \"" + string(view) + "\" cannot be written in the encoding " +
                              string(EncodingName(FOptions.CodePage)) + ".");
        }
        length = length > 0 ? length : 1;
      }
    }
    FOut += name;
  }

  void Section(const char* text) {
    const std::string_view view(text);
    if (!IsUnicode(FOptions.CodePage)) {
      // References mean nothing in a section, so that what the encoding lacks could not be written.
      Escape(text);
      return;
    }
    FOut += "<![CDATA[";
    for (std::size_t from = 0;;) {
      const std::size_t end = view.find("]]>", from);
      if (end == std::string_view::npos) {
        FOut.append(view.substr(from));
        break;
      }
      FOut.append(view.substr(from, end + 2 - from)).append("]]><![CDATA[");
      from = end + 2;
    }
    FOut += "]]>";
  }

  /// In a text. A bare CR would be read back as LF.
  void Escape(const char* text) { AppendEscaped(FOut, text, "<>&\r"); }

  std::string& FOut;
  const TVqDOMData& FData;
  const TVqWriteOptions& FOptions;
  std::size_t FContainers = 0;  // depth up to which the elements around are containers
  bool FAtStart = true;
};

template <typename Writing>
void Encoded(std::string& out, const TVqDOMData& data, const TVqWriteOptions& options, Writing writing) {
  if (options.CodePage == kVqCodePageUtf8) {
    TWriter writer(out, data, options);
    writing(writer, out);
    return;
  }
  std::string utf8;
  TWriter writer(utf8, data, options);
  writing(writer, utf8);
  EncodeText(out, utf8, options.CodePage, TVqMisfit::mReference);
}

}  // namespace

// White space in a value would be read back as blanks.
void AppendEscapedValue(std::string& out, const char* text) {
  AppendEscaped(out, text, "<>&\"\t\n\r");
}

void WriteNode(std::string& out, const IVqDOMNode& node, const TVqWriteOptions& options) {
  const TVqDOMData& data = *TVqDOMFactory::Data(node);
  Encoded(out, data, options, [&](TWriter& writer, std::string& text) {
    if (options.Declaration) {
      if (options.CodePage == kVqCodePageUtf16LE || options.CodePage == kVqCodePageUtf16BE) text += "\xEF\xBB\xBF";
      text.append("<?xml version=\"1.0\" encoding=\"").append(EncodingName(options.CodePage)).append("\"?>");
      if (options.Indent) text += '\n';
    }
    if (TVqDOMFactory::IsAttribute(node)) {
      writer.Attribute(TVqDOMFactory::Attribute(node));
      return;
    }
    if (TVqDOMFactory::Pointer(node)) {
      writer.Tree(TVqDOMFactory::Node(node));
      return;
    }
    const TVqDOMTree& tree = data.Tree();
    bool first = true;
    for (pugi::xml_node child = tree.First(); child; child = tree.Skip(child.next_sibling())) {
      if (!first && options.Indent) text += '\n';
      first = false;
      TWriter(text, data, options).Tree(child);
    }
    if (options.Indent && !first) text += '\n';
  });
}

void WriteInside(std::string& out, const IVqDOMNode& node, const TVqWriteOptions& options) {
  const TVqDOMData& data = *TVqDOMFactory::Data(node);
  Encoded(out, data, options,
          [&](TWriter& writer, std::string&) { writer.Children(TVqDOMFactory::Node(node), data.Tree()); });
}

}  // namespace velmore::detail
