// MIME texts of many messages, out of a mailbox and into one.

#include <filesystem>

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/bulk/uVqEWSBulkJobs_p.h"
#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/stores/internal/uVqEWSFolderCalls.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

namespace fs = std::filesystem;

/// A reply whose MIME texts never become part of the tree: they stay in the bytes that came, once.
class TMimeResponse : public TVqSOAPResponse {
 public:
  TMimeResponse(std::string bytes, const string& name)
      : TMimeResponse(std::make_unique<TParts>(std::move(bytes)), name) {}

  std::string_view TextOf(const IVqDOMElement& content, std::string& own) const {
    return detail::CutTextOf(FTexts, content, own);
  }

 private:
  struct TParts {
    explicit TParts(std::string bytes) : Document(std::move(bytes)), Texts(detail::CutTexts(Document, "MimeContent")) {}
    std::string Document;
    detail::TVqCutTexts Texts;
  };
  TMimeResponse(std::unique_ptr<TParts> parts, const string& name)
      : TVqSOAPResponse(std::move(parts->Document), name), FTexts(std::move(parts->Texts)) {}

  detail::TVqCutTexts FTexts;
};

}  // namespace

// ---- Out

std::uint64_t TVqEWSMimeText::GetSize() const noexcept {
  return FBase64.size() / 4 * 3;
}

void TVqEWSMimeText::SaveToStream(TVqStream& AStream) const {
  VqBase64Decode(FBase64, AStream);
}

void TVqEWSMimeText::SaveToFile(const string& AFileName) const {
  TVqFileStream file(AFileName, TVqFileMode::fmCreate);
  SaveToStream(file);
  file.Close();
}

std::vector<TVqEWSIdResult> TVqEWSBulk::ExportItems(std::span<const TItemId> AIds, const TMimeHandler& AHandler) {
  TVqEWSObject& store = Store();
  TVqEWSResults<TItemId> results(AIds.size());
  TVqRef<IVqSOAPResponse> response;
  IVqDOMElement content;
  TVqEWSBulkJob job = EwsJobOf("GetItem", store, AIds, EwsAskForMime);
  job.Factory = [](std::string bytes, const string& name) -> TVqRef<TVqSOAPResponse> {
    return MakeRef<TMimeResponse>(std::move(bytes), name);
  };
  job.Read = [&](std::size_t item, const TVqEWSCall& call, const IVqDOMElement& message) {
    const IVqDOMElement element = TVqEWSCall::OnlyItem(message);
    content = element.SelectSingleElement("MimeContent", kSelectQuiet);
    response = call.Response();
    results[item] = TVqEWSIdResult(EwsReadId(element.SelectSingleElement("ItemId", kSelectQuiet)));
  };
  job.Fail = results.Fail();
  job.Tell = [&](std::size_t item) {
    if (!results[item]) return;
    std::string own;
    const auto mime = Supports<TMimeResponse>(response);
    AHandler(item, TVqEWSMimeText(mime && content ? mime->TextOf(content, own) : std::string_view()));
    content = {};
    response = {};
  };
  TVqEWSBulkRun(store.ActiveSession(), Settings(), AIds.size(), kEwsUsualSize).Run(job);
  return results.Take();
}

namespace {

std::vector<TVqEWSFileResult> WithNames(std::vector<TVqEWSIdResult> results, std::span<const string> names) {
  std::vector<TVqEWSFileResult> named;
  named.reserve(results.size());
  for (std::size_t i = 0; i < results.size(); ++i) named.push_back({std::move(results[i]), names[i]});
  return named;
}

/// Writes a text beside its place, and puts it there when it is whole.
void SaveWhole(const TVqEWSMimeText& mime, const string& fileName) {
  const string part = fileName + ".part";
  const fs::path place(fileName.utf16());
  std::error_code error;
  if (place.has_parent_path()) fs::create_directories(place.parent_path(), error);  // what is wrong is told below
  mime.SaveToFile(part);
  fs::rename(fs::path(part.utf16()), place, error);
  if (error) throw EStreamError("Failed to write \"" + fileName + "\": " + string(error.message()));
}

}  // namespace

std::vector<TVqEWSFileResult> TVqEWSBulk::ExportItems(std::span<const TVqEWSItemFile> AFiles, bool AReplace) {
  std::vector<TItemId> ids;
  std::vector<string> names;
  for (const TVqEWSItemFile& file : AFiles) {
    std::error_code unknown;
    if (!AReplace && fs::exists(fs::path(file.FileName.utf16()), unknown)) continue;
    ids.push_back(file.Id);
    names.push_back(file.FileName);
  }
  return WithNames(
      ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) { SaveWhole(mime, names[index]); }), names);
}

// ---- In

std::vector<TVqEWSIdResult> TVqEWSBulk::ImportItems(IVqEWSFolder& AFolder, std::size_t ACount,
                                                    const TMimeSource& ASource, TVqEWSMessageFlags AFlags) {
  if (ACount == 0) return {};
  TVqEWSObject& store = Store();
  auto* folder = dynamic_cast<TVqEWSObject*>(&AFolder);
  if (!folder) throw EVqException("Messages are imported into a folder that a store has opened.");
  const TVqEWSImport import(AFolder, AFlags);
  TVqEWSResults<TItemId> results(ACount);
  TVqEWSBulkJob job;
  job.Operation = "CreateItem";
  job.Count = ACount;
  job.Compose = [&](std::span<const std::size_t> offered, TVqSOAPClient* client, TVqEWSBulkRequest& request) {
    request.Call = std::make_shared<TVqEWSCall>(*folder, "CreateItem", client);
    const IVqDOMElement items = import.Begin(*request.Call);
    std::uint64_t bytes = 0;
    std::size_t taken = 0;
    for (const std::size_t item : offered) {
      try {
        const std::unique_ptr<TVqStream> mime = ASource(item);
        if (!mime) throw EVqException("There is no MIME text for this message.");
        bytes += mime->GetSize();
        if (bytes > FRequestBytes && !request.Items.empty()) break;
        import.Add(items, *mime);
        request.Items.push_back(item);
      } catch (...) {
        request.Refused.emplace_back(item, std::current_exception());
      }
      ++taken;
    }
    return taken;
  };
  job.Read = [&](std::size_t item, const TVqEWSCall& call, const IVqDOMElement& message) {
    results[item] = TVqEWSIdResult(EwsReadId(call.FindMade(message, ".//ItemId")));
  };
  job.Fail = results.Fail();
  TVqEWSBulkRun(store.ActiveSession(), Settings(), ACount, kEwsUsualSize).Run(job);
  return results.Take();
}

std::vector<TVqEWSFileResult> TVqEWSBulk::ImportItems(IVqEWSFolder& AFolder, std::span<const string> AFileNames,
                                                      TVqEWSMessageFlags AFlags) {
  const auto open = [&](std::size_t index) {
    return std::make_unique<TVqFileStream>(AFileNames[index], TVqFileMode::fmOpenRead);
  };
  return WithNames(ImportItems(AFolder, AFileNames.size(), open, AFlags), AFileNames);
}

}  // namespace velmore
