// Bytes to a document: encoding, well-formedness, and the parser.
//
// The parser is fast because it is lenient. Nearly everything that it lets pass is ruled out by QuickScan before it
// runs, the rest shows afterwards around the root. What fails one of the two, or the parser, is read by CheckMarkup,
// which is the authority: it raises with the place, or finds that nothing is wrong.

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

/// From this size on the strict reading comes first: it needs no memory to speak of, while a tree takes up to 16 times
/// the size of its text.
constexpr std::size_t kLarge = 16u << 20;
/// Is the last thing in the text the end tag of the root? The parser drops what stands behind the root.
bool EndsWithRoot(std::string_view body, std::string_view name) noexcept {
  body = VqTrimSpace(body);
  if (!body.ends_with('>')) return false;
  body.remove_suffix(1);
  body = VqTrimSpace(body);
  if (!body.ends_with(name)) return false;
  body.remove_suffix(name.size());
  return body.ends_with("</");
}

/// Parses UTF-8 without byte order mark. `owned`, if there is one, is the string that `text` lies in, to be taken.
void Load(TVqDOMData& data, std::string_view text, std::string* owned) {
  std::string rewritten;
  TVqScan scan;
  if (text.size() <= kLarge && text.size() <= data.Limits.MaxBytes) {
    std::size_t root = ReadDeclaration(text).End;
    while (root < text.size() && IsXmlSpace(text[root])) ++root;
    // Text before the root is passed over by the parser.
    if (root < text.size() && text[root] == '<') scan = QuickScan(text.substr(root), data.Limits);
  }
  const bool checked = !scan.Clean;
  if (checked && CheckMarkup(text, TVqXMLRules::rReply, data.Limits, rewritten)) {
    text = rewritten;
    owned = &rewritten;
  }

  std::string lines;
  if (checked && NeedsLines(text)) {
    lines = WithLines(text);
    text = lines;
    owned = &lines;
  }

  auto tree = std::make_unique<TVqDOMTree>();
  std::string_view original = text;
  const std::size_t start = ReadDeclaration(text).End;
  if (owned && text.size() > kLarge) {
    // The strict reading has found it good, so that no place will have to be told, and the text need not be kept.
    const std::size_t offset = static_cast<std::size_t>(text.data() - owned->data());
    tree->Buffer = std::move(*owned);
    tree->Buffer.erase(0, offset);
    original = {};
  } else {
    tree->Buffer = text;
  }
  // The zero behind the text belongs to it, so that the parser need not make one of its last character.
  const pugi::xml_parse_result result = tree->Document.load_buffer_inplace(
      tree->Buffer.data() + start, tree->Buffer.size() - start + 1, kParseOptions, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!checked) {
    const pugi::xml_node root = tree->Document.first_child();
    const bool good = result && root && !root.next_sibling() && EndsWithRoot(original, root.name());
    if (!good) CheckMarkup(original, TVqXMLRules::rReply, data.Limits, rewritten);
  }
  if (!result) FailAt(original, start + static_cast<std::size_t>(result.offset), string(result.description()));
  data.Replace(std::move(tree));
  data.Declarations = std::move(scan.Declarations);
  data.DeclarationsKnown = scan.Clean && scan.AllDeclarations;
  data.DeclarationsAt = data.Modifications;
}

/// The encoding of bytes and where their text starts.
struct TEncoding {
  std::int32_t CodePage;
  std::size_t Start;
};
TEncoding DetectEncoding(std::string_view bytes, std::int32_t codePage) {
  if (codePage != kVqCodePageDefault) CheckCodePage(codePage);
  if (bytes.starts_with("\xEF\xBB\xBF")) return {kVqCodePageUtf8, 3};
  if (bytes.starts_with("\xFF\xFE")) return {kVqCodePageUtf16LE, 2};
  if (bytes.starts_with("\xFE\xFF")) return {kVqCodePageUtf16BE, 2};
  if (codePage != kVqCodePageDefault) return {codePage, 0};
  if (bytes.size() >= 2 && bytes[0] == '<' && bytes[1] == '\0') return {kVqCodePageUtf16LE, 0};
  if (bytes.size() >= 2 && bytes[0] == '\0' && bytes[1] == '<') return {kVqCodePageUtf16BE, 0};
  const TVqXMLDeclaration declaration = ReadDeclaration(bytes);
  // As nearly every document says it; any other spelling is looked up.
  const bool usual = declaration.Encoding == "utf-8" || declaration.Encoding == "UTF-8";
  if (usual || declaration.Encoding.empty()) return {kVqCodePageUtf8, 0};
  const std::int32_t declared = CodePageOfEncoding(declaration.Encoding);
  if (declared == 0) {
    constexpr std::size_t most = 100;  // no name is longer
    FailAt(bytes, declaration.EncodingAt,
           "The encoding \"" + string(declaration.Encoding.substr(0, most)) + "\" is not supported.");
  }
  if (declared == kVqCodePageUtf16LE || declared == kVqCodePageUtf16BE) {
    FailAt(bytes, declaration.EncodingAt, "The document says that it is UTF-16, and is not.");
  }
  return {declared, 0};
}

template <typename Loading>
void Guarded(TVqDOMData& data, Loading load) {
  try {
    load();
  } catch (const EVqXMLError& error) {
    data.Replace(std::make_unique<TVqDOMTree>());
    if (data.OnParseError) {
      struct TPlace final : IVqSAXLocator {
        explicit TPlace(const EVqXMLError& error) : FError(error) {}
        std::int32_t GetLineNumber() const override { return FError.GetLine(); }
        std::int32_t GetColumnNumber() const override { return FError.GetColumn(); }
        const EVqXMLError& FError;
      };
      // A copy, as the handler may well replace itself.
      const IVqDOMDocument::TParseErrorEvent handler = data.OnParseError;
      handler(TPlace(error), error.Message());
    }
    throw;
  }
}

void LoadBytes(TVqDOMData& data, std::string_view bytes, std::int32_t codePage, std::string* owned) {
  const TEncoding encoding = DetectEncoding(bytes, codePage);
  if (bytes.size() > data.Limits.MaxBytes) {
    FailAt({}, 0, Format("The document has more than %s bytes.", {std::to_string(data.Limits.MaxBytes)}));
  }
  const std::string_view body = bytes.substr(encoding.Start);
  data.CodePage = encoding.CodePage;
  if (encoding.CodePage == kVqCodePageUtf8) {
    Load(data, body, owned);
    return;
  }
  std::string text;
  if (!DecodeText(text, body, encoding.CodePage, true)) {
    FailAt(text, text.size(), "Bytes that are no text in the document's encoding.");
  }
  Load(data, text, &text);
}

}  // namespace

void LoadDocument(TVqDOMData& data, std::string_view bytes, std::int32_t codePage) {
  Guarded(data, [&] { LoadBytes(data, bytes, codePage, nullptr); });
}

void LoadDocument(TVqDOMData& data, std::string&& bytes) {
  Guarded(data, [&] { LoadBytes(data, bytes, kVqCodePageDefault, &bytes); });
}

void LoadDocumentFromStream(TVqDOMData& data, TVqStream& stream, std::int32_t codePage) {
  std::string bytes;
  const std::uint64_t size = stream.GetSize(), position = stream.GetPosition();
  const std::uint64_t expected = size > position ? size - position : 0;
  // One byte beyond the limit is enough to refuse; what a stream says of its size is not believed further than that.
  const std::size_t most = std::max(data.Limits.MaxBytes, data.Limits.MaxBytes + 1);
  bytes.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(expected, most)));
  for (;;) {
    const std::size_t old = bytes.size();
    const std::size_t room = std::min<std::size_t>(std::max<std::size_t>(bytes.capacity() - old, 1u << 16), most - old);
    if (room == 0) break;
    bytes.resize(old + room);
    const std::size_t got = stream.Read(bytes.data() + old, room);
    bytes.resize(old + got);
    if (got == 0) break;
  }
  Guarded(data, [&] { LoadBytes(data, bytes, codePage, &bytes); });
}

void LoadDocumentFromText(TVqDOMData& data, std::string_view utf8) {
  Guarded(data, [&] {
    Load(data, utf8.starts_with("\xEF\xBB\xBF") ? utf8.substr(3) : utf8, nullptr);
    data.CodePage = kVqCodePageUtf8;
  });
}

}  // namespace velmore::detail
