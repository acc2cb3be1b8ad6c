// Our reader against libxml2: the same documents accepted and refused, the same trees.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>

#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

class TRandom {
 public:
  explicit TRandom(std::uint32_t seed) : FState(seed * 2654435761u + 1) {}
  std::uint32_t operator()(std::uint32_t range) {
    FState = FState * 1664525 + 1013904223;
    return static_cast<std::uint32_t>((static_cast<std::uint64_t>(FState >> 4) * range) >> 28);
  }

 private:
  std::uint32_t FState;
};

/// A tree in one line a node, adjacent pieces of text joined.
class TDump {
 public:
  void Open(std::string_view name) {
    Flush();
    Line("<" + std::string(name));
    ++FDepth;
  }
  void Close() {
    Flush();
    --FDepth;
  }
  void Attribute(std::string_view name, std::string_view value) {
    Line("@" + std::string(name) + "=" + std::string(value));
  }
  void Text(std::string_view text) { FText += text; }
  void Other(char kind, std::string_view name, std::string_view value) {
    Flush();
    Line(std::string(1, kind) + std::string(name) + "|" + std::string(value));
  }
  std::string Result() {
    Flush();
    return FResult;
  }

 private:
  void Flush() {
    if (FText.empty()) return;
    const std::string text = "\"" + FText;
    FText.clear();
    Line(text);
  }
  void Line(const std::string& text) { FResult += std::string(static_cast<std::size_t>(FDepth), ' ') + text + "\n"; }
  std::string FResult, FText;
  int FDepth = 0;
};

void DumpOurs(TDump& dump, const IVqDOMNode& node) {
  switch (node.GetNodeType()) {
    case TVqDOMNodeType::ntElement: {
      dump.Open(node.GetQualifiedName().utf8());
      for (const IVqDOMAttribute& attribute : node.AsElement().GetAttributes()) {
        dump.Attribute(attribute.GetName().utf8(), attribute.GetTextAsUtf8());
      }
      for (const IVqDOMNode& child : node.GetChildren()) DumpOurs(dump, child);
      dump.Close();
      break;
    }
    case TVqDOMNodeType::ntText:
    case TVqDOMNodeType::ntCDATA:
      dump.Text(node.GetTextAsUtf8());
      break;
    case TVqDOMNodeType::ntComment:
      dump.Other('!', "", node.GetTextAsUtf8());
      break;
    default:
      dump.Other('?', node.GetQualifiedName().utf8(), node.GetTextAsUtf8());
  }
}

std::string Text(const xmlChar* text) {
  return text ? reinterpret_cast<const char*>(text) : "";
}
std::string Qualified(const xmlNs* space, const xmlChar* name) {
  return space && space->prefix ? Text(space->prefix) + ":" + Text(name) : Text(name);
}

// libxml2 takes declarations out of the attributes, so that both sides are compared without them.
void DumpTheirs(TDump& dump, xmlNodePtr node) {
  switch (node->type) {
    case XML_ELEMENT_NODE:
      dump.Open(Qualified(node->ns, node->name));
      for (xmlAttrPtr attribute = node->properties; attribute; attribute = attribute->next) {
        xmlChar* value = xmlNodeListGetString(node->doc, attribute->children, 1);
        dump.Attribute(Qualified(attribute->ns, attribute->name), Text(value));
        xmlFree(value);
      }
      for (xmlNodePtr child = node->children; child; child = child->next) DumpTheirs(dump, child);
      dump.Close();
      break;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
      dump.Text(Text(node->content));
      break;
    case XML_COMMENT_NODE:
      dump.Other('!', "", Text(node->content));
      break;
    default:
      dump.Other('?', Text(node->name), Text(node->content));
  }
}

std::string Ours(const std::string& text, bool& accepted) {
  TVqDOMDocument document;
  TVqXMLLimits limits;
  limits.MaxDepth = 250;  // libxml2's own is 256
  document.SetLimits(limits);
  try {
    document.LoadFromBytes(text);
    accepted = true;
  } catch (const EVqXMLError& error) {
    accepted = false;
    return error.what();
  }
  TDump dump;
  for (const IVqDOMNode& node : document.GetChildren()) DumpOurs(dump, node);
  return dump.Result();
}

std::string Theirs(const std::string& text, bool& accepted) {
  std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxtPtr)> context(xmlNewParserCtxt(), xmlFreeParserCtxt);
  xmlDocPtr read = xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                     XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET);
  const std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> document(read, xmlFreeDoc);
  accepted = read != nullptr && context->wellFormed == 1;
  if (!accepted) return context->lastError.message ? context->lastError.message : "";
  TDump dump;
  for (xmlNodePtr node = read->children; node; node = node->next) DumpTheirs(dump, node);
  return dump.Result();
}

/// Makes documents that use everything that we accept.
class TGenerator {
 public:
  explicit TGenerator(std::uint32_t seed) : FRandom(seed) {}

  std::string Document() {
    FText.clear();
    if (FRandom(3) == 0) FText += "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    Misc();
    Element(0);
    Misc();
    return FText;
  }

 private:
  void Misc() {
    while (FRandom(4) == 0) {
      switch (FRandom(3)) {
        case 0:
          FText += "<!-- c -->";
          break;
        case 1:
          FText += "<?pi data?>";
          break;
        default:
          FText += " \n";
      }
    }
  }
  std::string Name() {
    static const char* const kNames[] = {"a", "b", "t:Subject", "m:Items", "x-1.2", "_u", "\xC3\xBC", "Body"};
    return kNames[FRandom(8)];
  }
  void Characters(bool attribute) {
    static const char* const kPieces[] = {"text",  " ",        "\n",       "\r\n",         "\t",
                                          "&amp;", "&lt;",     "&gt;",     "&quot;",       "&apos;",
                                          "&#65;", "&#x263A;", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                                          "]]",    "=",        "/",        "&#13;",        "&#10;",
                                          "1 + 1", "-->",      "x"};
    for (std::uint32_t count = FRandom(5); count > 0; --count) {
      const char* piece = kPieces[FRandom(23)];
      if (attribute || std::string_view(piece) != "-->" || !FText.ends_with("]]")) FText += piece;
    }
  }
  void Element(int depth) {
    const std::string name = Name();
    FText += "<" + name;
    static const char* const kAttributes[] = {"Id", "ChangeKey", "t:x", "Key"};
    for (std::uint32_t i = 0; i < 4; ++i) {
      if (FRandom(4) != 0) continue;
      const bool single = FRandom(3) == 0;
      FText += FRandom(8) == 0 ? "\n" : " ";
      FText += kAttributes[i];
      FText += FRandom(8) == 0 ? " = " : "=";
      FText += single ? '\'' : '"';
      Characters(true);
      FText += single ? '\'' : '"';
    }
    if (FRandom(6) == 0) FText += " ";
    if (FRandom(4) == 0) {
      FText += "/>";
      return;
    }
    FText += ">";
    for (std::uint32_t count = depth < 6 ? FRandom(5) : 0; count > 0; --count) {
      switch (FRandom(8)) {
        case 0:
          FText += "<!-- in -->";
          break;
        case 1:
          FText += "<![CDATA[<raw> & ]] ]]>";
          break;
        case 2:
          FText += "<?in side?>";
          break;
        case 3:
        case 4:
          Characters(false);
          break;
        default:
          Element(depth + 1);
      }
    }
    if (FRandom(2) == 0) Characters(false);
    FText += "</" + name + (FRandom(8) == 0 ? " >" : ">");
  }

  TRandom FRandom;
  std::string FText;
};

TEST(AgainstAnotherParser, GeneratedDocumentsGiveTheSameTree) {
  for (std::uint32_t seed = 0; seed < 20'000; ++seed) {
    const std::string text = TGenerator(seed).Document();
    bool ours, theirs;
    const std::string our = Ours(text, ours), their = Theirs(text, theirs);
    ASSERT_EQ(ours, theirs) << seed << "\n" << text << "\n" << our << "\n" << their;
    if (ours) {
      ASSERT_EQ(our, their) << seed << "\n" << text;
    }
  }
}

/// Forbidden characters are read by us and refused by them, as is meant; document types the other way round.
bool Comparable(const std::string& text) {
  if (text.find("<!DOCTYPE") != std::string::npos || text.find("&#") != std::string::npos) return false;
  // An encoding or version that one of the two does not know.
  if (text.starts_with("<?xml") && !text.starts_with("<?xml version=\"1.0\" encoding=\"utf-8\"?>")) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Names with colons where namespaces do not want them are well-formed all the same; libxml2 stumbles over some.
    if (text[i] == ':') {
      const std::size_t end = text.find_first_of(" \n<>/=\"'&;!?[]", i + 1);
      const std::string_view behind =
          std::string_view(text).substr(i + 1, end == std::string::npos ? end : end - i - 1);
      const char before = i > 0 ? text[i - 1] : '<';
      if (behind.empty() || behind.find(':') != std::string_view::npos ||
          std::string_view("0123456789-.").find(behind[0]) != std::string_view::npos ||
          std::string_view("</ \n").find(before) != std::string_view::npos) {
        return false;
      }
    }
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 && c != '\n' && c != '\r' && c != '\t') return false;
    if (c == 0xEF && text.substr(i).starts_with("\xEF\xBF")) return false;
  }
  return true;
}

TEST(AgainstAnotherParser, MutatedDocumentsAreJudgedAlike) {
  const std::string_view alphabet = "<>/=\"'& ;ab-!?[]\n:x1\xC3\xBC\x80";
  int accepted = 0, refused = 0;
  for (std::uint32_t seed = 0; seed < 100'000; ++seed) {
    TRandom random(seed);
    std::string text = TGenerator(seed % 5000).Document();
    for (std::uint32_t count = 1 + random(3); count > 0; --count) {
      const std::size_t at = random(static_cast<std::uint32_t>(text.size()));
      switch (random(4)) {
        case 0:
          text.erase(at, 1 + random(3));
          break;
        case 1:
          text.insert(at, 1, alphabet[random(static_cast<std::uint32_t>(alphabet.size()))]);
          break;
        case 2:
          text[at] = alphabet[random(static_cast<std::uint32_t>(alphabet.size()))];
          break;
        default:
          text.insert(at, text.substr(random(static_cast<std::uint32_t>(text.size())), random(20)));
      }
      if (text.empty()) text = "<a/>";
    }
    if (!Comparable(text)) continue;
    bool ours, theirs;
    const std::string our = Ours(text, ours), their = Theirs(text, theirs);
    ASSERT_EQ(ours, theirs) << seed << "\n" << text << "\n" << our << "\n" << their;
    if (ours) {
      ASSERT_EQ(our, their) << seed << "\n" << text;
    }
    ++(ours ? accepted : refused);
  }
  EXPECT_GT(accepted, 1000);
  EXPECT_GT(refused, 1000);
}

TEST(AgainstAnotherParser, WhatIsWrittenIsReadAlike) {
  for (std::uint32_t seed = 0; seed < 5000; ++seed) {
    TVqDOMDocument document;
    document.LoadFromBytes(TGenerator(seed).Document());
    const std::string written = document.GetXMLAsUtf8();
    bool ours, theirs;
    const std::string our = Ours(written, ours), their = Theirs(written, theirs);
    ASSERT_TRUE(ours && theirs) << written << "\n" << our << "\n" << their;
    ASSERT_EQ(our, their) << written;
    ASSERT_EQ(document.GetXMLAsUtf8(), TVqDOMDocument(written).GetXMLAsUtf8());
  }
}

}  // namespace
}  // namespace velmore
