#include "platform/common/uVqClasses.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace velmore {
namespace {

std::atomic<std::int64_t> LiveObjects{0};

[[noreturn]] void RaiseFileError(const string& name, const char* what) {
  throw EStreamError("The file \"" + name + "\" could not be " + what + ": " + std::strerror(errno));
}

}  // namespace

std::int64_t VqLiveObjectCount() noexcept {
  return LiveObjects.load(std::memory_order_relaxed);
}
TVqLiveObject::TVqLiveObject() noexcept {
  LiveObjects.fetch_add(1, std::memory_order_relaxed);
}
TVqLiveObject::~TVqLiveObject() {
  LiveObjects.fetch_sub(1, std::memory_order_relaxed);
}

std::int32_t TVqObject::_Release() noexcept {
  const std::int32_t left = --FRefCount;
  if (left == 0) delete this;
  return left;
}

TVqComponent::TVqComponent(TVqComponent* AOwner) : FOwner(AOwner) {
  if (FOwner) FOwner->FComponents.push_back(this);
}

TVqComponent::~TVqComponent() {
  for (TVqComponent* component : std::exchange(FFreeNotifies, {})) {
    component->RemoveFreeNotification(this);
    component->Notification(this, TVqOperation::opRemove);
  }
  while (!FComponents.empty()) {
    TVqComponent* last = FComponents.back();
    FComponents.pop_back();
    last->FOwner = nullptr;
    delete last;
  }
  if (FOwner) std::erase(FOwner->FComponents, this);
}

std::int32_t TVqComponent::_AddRef() noexcept {
  return ++FRefCount;
}

std::int32_t TVqComponent::_Release() noexcept {
  const std::int32_t left = --FRefCount;
  if (left == 0 && FAutoDestroy) delete this;
  return left;
}

void TVqComponent::FreeNotification(TVqComponent* AComponent) {
  if (!AComponent || AComponent == this || std::ranges::find(FFreeNotifies, AComponent) != FFreeNotifies.end()) return;
  FFreeNotifies.push_back(AComponent);
  AComponent->FFreeNotifies.push_back(this);
}

void TVqComponent::RemoveFreeNotification(TVqComponent* AComponent) noexcept {
  std::erase(FFreeNotifies, AComponent);
  if (AComponent) std::erase(AComponent->FFreeNotifies, this);
}

void TVqComponent::AssignTo(TVqComponent* ADest) {
  throw EVqException(ADest ? "The component cannot be assigned to a component of this class."
                           : "The component cannot be assigned to an empty reference.");
}

void TVqComponent::Notification(TVqComponent*, TVqOperation) {}

std::string TVqStream::ReadAll() {
  std::string bytes(static_cast<std::size_t>(GetSize() - std::min(GetSize(), GetPosition())), '\0');
  bytes.resize(Read(bytes.data(), bytes.size()));
  return bytes;
}

std::size_t TVqMemoryStream::Read(void* buffer, std::size_t count) {
  if (FPosition >= FBytes.size()) return 0;
  count = std::min(count, FBytes.size() - static_cast<std::size_t>(FPosition));
  std::memcpy(buffer, FBytes.data() + FPosition, count);
  FPosition += count;
  return count;
}

void TVqMemoryStream::Write(const void* buffer, std::size_t count) {
  if (count == 0) return;
  const auto end = static_cast<std::size_t>(FPosition) + count;
  if (end > FBytes.size()) FBytes.resize(end);
  std::memcpy(FBytes.data() + FPosition, buffer, count);
  FPosition = end;
}

TVqFileStream::TVqFileStream(const string& AFileName, TVqFileMode AMode) : FName(AFileName) {
#ifdef _WIN32
  FFile = _wfopen(std::filesystem::path(AFileName.utf16()).c_str(), AMode == TVqFileMode::fmCreate ? L"wb+" : L"rb");
#else
  FFile = std::fopen(AFileName.utf8().c_str(), AMode == TVqFileMode::fmCreate ? "wb+" : "rb");
#endif
  if (!FFile) RaiseFileError(FName, AMode == TVqFileMode::fmCreate ? "created" : "opened");
}

TVqFileStream::~TVqFileStream() {
  if (FFile) std::fclose(FFile);
}

std::size_t TVqFileStream::Read(void* buffer, std::size_t count) {
  const std::size_t got = std::fread(buffer, 1, count, FFile);
  if (got < count && std::ferror(FFile)) RaiseFileError(FName, "read");
  return got;
}

void TVqFileStream::Write(const void* buffer, std::size_t count) {
  if (std::fwrite(buffer, 1, count, FFile) != count) RaiseFileError(FName, "written");
}

std::uint64_t TVqFileStream::GetPosition() const {
#ifdef _WIN32
  return static_cast<std::uint64_t>(_ftelli64(FFile));
#else
  return static_cast<std::uint64_t>(ftello(FFile));
#endif
}

void TVqFileStream::SetPosition(std::uint64_t AValue) {
#ifdef _WIN32
  if (_fseeki64(FFile, static_cast<std::int64_t>(AValue), SEEK_SET) != 0) RaiseFileError(FName, "positioned");
#else
  if (fseeko(FFile, static_cast<off_t>(AValue), SEEK_SET) != 0) RaiseFileError(FName, "positioned");
#endif
}

std::uint64_t TVqFileStream::GetSize() const {
  std::fflush(FFile);
#ifdef _WIN32
  return std::filesystem::file_size(std::filesystem::path(FName.utf16()));
#else
  return std::filesystem::file_size(std::filesystem::path(FName.utf8()));
#endif
}

void TVqFileStream::Close() {
  if (!FFile) return;
  if (std::fclose(std::exchange(FFile, nullptr)) != 0) RaiseFileError(FName, "closed");
}

const string& TVqStrings::GetItem(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError("There is no text at position " + IntToStr(AIndex) + ".");
  return FItems[static_cast<std::size_t>(AIndex)];
}

std::int32_t TVqStrings::Add(const string& AText) {
  FItems.push_back(AText);
  return Count() - 1;
}

void TVqStrings::Delete(std::int32_t AIndex) {
  GetItem(AIndex);
  FItems.erase(FItems.begin() + AIndex);
}

std::int32_t TVqStrings::IndexOf(const string& AText) const {
  for (std::int32_t i = 0; i < Count(); ++i) {
    const string& item = FItems[static_cast<std::size_t>(i)];
    if (FCaseSensitive ? item == AText : SameText(item, AText)) return i;
  }
  return -1;
}

string TVqStrings::GetText() const {
  string text;
  for (const string& item : FItems) text += item + "\r\n";
  return text;
}

void TVqStrings::SetText(const string& AText) {
  FItems.clear();
  std::size_t start = 0;
  while (start < AText.Length()) {
    std::size_t end = AText.view().find_first_of(u"\r\n", start);
    if (end == string::npos) end = AText.Length();
    FItems.push_back(AText.Copy(start, end - start));
    start = end + (AText.view().substr(end, 2) == u"\r\n" ? 2 : 1);
  }
}

}  // namespace velmore
