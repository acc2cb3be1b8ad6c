// Documents: loading, saving, the root.

#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>

#include "platform/xml/internal/uVqXMLWriter.h"
#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore {

using namespace detail;

TVqDOMDocument::TVqDOMDocument() {
  TVqDOMFactory::FillDocument(*this, new TVqDOMData);
}

TVqDOMDocument::TVqDOMDocument(const TVqUtf8View& AText) : TVqDOMDocument() {
  LoadXML(AText);
}

TVqDOMDocument::TVqDOMDocument(const TVqUtf8View& AText, std::int32_t ACodePage) : TVqDOMDocument() {
  if (ACodePage != kVqCodePageDefault) CheckCodePage(ACodePage);
  LoadXML(AText);
  if (ACodePage != kVqCodePageDefault) TVqDOMFactory::Data(*this)->CodePage = ACodePage;
}

TVqDOMDocument::TVqDOMDocument(TVqStream& AStream, std::int32_t ACodePage) : TVqDOMDocument() {
  LoadFromStream(AStream, ACodePage);
}

IVqDOMDocument VqCreateDOM(const TVqUtf8View& AText) {
  return TVqDOMDocument(AText);
}

void IVqDOMDocument::LoadXML(const TVqUtf8View& AText) const {
  LoadDocumentFromText(Writable(*this), AText.View());
}

void IVqDOMDocument::LoadFromStream(TVqStream& AStream) const {
  LoadFromStream(AStream, kVqCodePageDefault);
}

void IVqDOMDocument::LoadFromStream(TVqStream& AStream, std::int32_t ACodePage) const {
  LoadDocumentFromStream(Writable(*this), AStream, ACodePage);
}

void IVqDOMDocument::LoadFromFile(const string& AFileName) const {
  TVqFileStream file(AFileName, TVqFileMode::fmOpenRead);
  LoadFromStream(file);
}

void IVqDOMDocument::LoadFromBytes(std::string_view ABytes, std::int32_t ACodePage) const {
  LoadDocument(Writable(*this), ABytes, ACodePage);
}

void IVqDOMDocument::Clear() const {
  Writable(*this).Replace(std::make_unique<TVqDOMTree>());
}

void IVqDOMDocument::SetLimits(const TVqXMLLimits& ALimits) const {
  Writable(*this).Limits = ALimits;
}

TVqXMLLimits IVqDOMDocument::GetLimits() const {
  return FData ? TVqDOMFactory::Data(*this)->Limits : TVqXMLLimits();
}

void IVqDOMDocument::SetOnParseError(TParseErrorEvent AHandler) const {
  Writable(*this).OnParseError = std::move(AHandler);
}

void IVqDOMDocument::SaveToStream(TVqStream& AStream, bool ADeclaration, bool AIndent) const {
  SaveToStream(AStream, FData ? TVqDOMFactory::Data(*this)->CodePage : kVqCodePageUtf8, ADeclaration, AIndent);
}

void IVqDOMDocument::SaveToStream(TVqStream& AStream, std::int32_t ACodePage, bool ADeclaration, bool AIndent) const {
  const std::int32_t codePage = ACodePage == kVqCodePageDefault ? kVqCodePageUtf8 : ACodePage;
  CheckCodePage(codePage);
  std::string out;
  if (FData) WriteNode(out, *this, {.Indent = AIndent, .CodePage = codePage, .Declaration = ADeclaration});
  AStream.Write(out);
}

void IVqDOMDocument::SaveToFile(const string& AFileName, bool ADeclaration, bool AIndent) const {
  const auto path = [](const string& name) {
    const std::string utf8 = name.utf8();
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
  };
  const string temporary = AFileName + "." + IntToStr(static_cast<std::int64_t>(std::random_device{}())) + ".tmp";
  std::error_code error;
  try {
    TVqFileStream file(temporary, TVqFileMode::fmCreate);
    SaveToStream(file, kVqCodePageUtf8, ADeclaration, AIndent);
    file.Close();
  } catch (...) {
    std::filesystem::remove(path(temporary), error);
    throw;
  }
  std::filesystem::rename(path(temporary), path(AFileName), error);
  if (!error) return;
  const std::string why = error.message();
  std::filesystem::remove(path(temporary), error);
  throw EStreamError("Failed to write \"" + AFileName + "\": " + string(why));
}

IVqDOMElement IVqDOMDocument::GetDocumentElement() const {
  if (!FData) return {};
  TVqDOMData* data = TVqDOMFactory::Data(*this);
  return TVqDOMFactory::Element(data, data->Tree().Root());
}

IVqDOMElement IVqDOMDocument::CreateRootNode(const TVqUtf8View& AName) const {
  TVqDOMData& data = Writable(*this);
  CheckName(AName);
  TVqDOMTree& tree = data.Tree();
  if (tree.Root()) throw EVqException("The document has a root element already.");
  const pugi::xml_node root =
      InsertNamed(tree.Document, pugi::node_element, std::string(AName.View()).c_str(), tree.Parked);
  data.StructureChanged();
  return TVqDOMFactory::Element(&data, root);
}

IVqDOMElement IVqDOMDocument::CreateRootNode(const TVqUtf8View& AName, const TVqUtf8View& ANamespaceURI) const {
  CheckText(ANamespaceURI);
  const IVqDOMElement root = CreateRootNode(AName);
  const std::string_view prefix = PrefixPart(AName.View());
  root.SetAttribute(prefix.empty() ? std::string("xmlns") : "xmlns:" + std::string(prefix), ANamespaceURI.View());
  return root;
}

IVqDOMDocument IVqDOMDocument::CreateClone() const {
  IVqDOMDocument document;
  TVqDOMFactory::Assign(document, CloneNode(true));
  return document;
}

}  // namespace velmore
