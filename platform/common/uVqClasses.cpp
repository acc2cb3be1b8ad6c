#include "platform/common/uVqClasses.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <system_error>

#ifdef _WIN32
#include <io.h>
#include <sys/stat.h>
#else
#include <sys/stat.h>
#endif

namespace velmore {
namespace {

std::atomic<std::int64_t> LiveObjects{0};

// Protects what every component owns. One for all: components with an owner are made seldom, and a mutex in each
// component would cost more. Never destroyed: components may outlive all other statics.
std::mutex& OwnedMutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

[[noreturn]] void RaiseFileError(const string& name, const char* what, int error = errno) {
  throw EStreamError("The file \"" + name + "\" could not be " + what + ": " + std::generic_category().message(error) +
                     ".");
}

/// What a count becomes before its object goes, so that references that the destructor makes and drops do not destroy
/// it a second time.
constexpr std::int32_t kDestroying = std::numeric_limits<std::int32_t>::min() / 2;

}  // namespace

void detail::RaiseEmptyReference(std::string_view AClass) {
  throw EVqException(Format("An empty reference to %s was used.", {AClass}));
}

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
  if (left == 0) {
    FRefCount = kDestroying;
    delete this;
  }
  return left;
}

TVqComponent::TVqComponent(TVqComponent* AOwner) : FOwner(AOwner) {
  if (!FOwner) return;
  const std::scoped_lock lock(OwnedMutex());
  FOwner->FComponents.push_back(this);
}

TVqComponent::~TVqComponent() {
  FDestroying = true;
  while (!FFreeNotifies.empty()) {  // one at a time, as whoever is told may destroy others that wait to be told
    TVqComponent* component = FFreeNotifies.back().Other;
    RemoveFreeNotification(component);
    try {
      component->Notification(this, TVqOperation::opRemove);
    } catch (...) {
      // A destructor has nobody to tell; the others must still hear of it.
    }
  }
  while (TVqComponent* last = TakeLastOwned()) delete last;
  if (!FOwner) return;
  const std::scoped_lock lock(OwnedMutex());
  std::erase(FOwner->FComponents, this);
}

TVqComponent* TVqComponent::TakeLastOwned() noexcept {
  const std::scoped_lock lock(OwnedMutex());
  if (FComponents.empty()) return nullptr;
  TVqComponent* last = FComponents.back();
  FComponents.pop_back();
  last->FOwner = nullptr;
  return last;
}

std::int32_t TVqComponent::_AddRef() noexcept {
  return ++FRefCount;
}

std::int32_t TVqComponent::_Release() noexcept {
  const std::int32_t left = --FRefCount;
  if (left == 0 && FAutoDestroy) {
    FRefCount = kDestroying;
    delete this;
  }
  return left;
}

const TVqComponent::TNotify* TVqComponent::FindNotify(const TVqComponent* AComponent) const noexcept {
  for (const TNotify& notify : FFreeNotifies) {
    if (notify.Other == AComponent) return &notify;
  }
  return nullptr;
}

void TVqComponent::RemoveNotify(std::size_t APlace) noexcept {
  FFreeNotifies[APlace] = FFreeNotifies.back();
  FFreeNotifies.pop_back();
  if (APlace < FFreeNotifies.size()) {
    const TNotify& moved = FFreeNotifies[APlace];
    moved.Other->FFreeNotifies[moved.Place].Place = APlace;
  }
}

void TVqComponent::FreeNotification(TVqComponent* AComponent) {
  if (!AComponent || AComponent == this || FDestroying || AComponent->FDestroying) return;
  const bool mine = FFreeNotifies.size() <= AComponent->FFreeNotifies.size();  // the shorter list tells as much
  if (mine ? FindNotify(AComponent) : AComponent->FindNotify(this)) return;
  FFreeNotifies.push_back({AComponent, AComponent->FFreeNotifies.size()});
  try {
    AComponent->FFreeNotifies.push_back({this, FFreeNotifies.size() - 1});
  } catch (...) {
    FFreeNotifies.pop_back();
    throw;
  }
}

void TVqComponent::RemoveFreeNotification(TVqComponent* AComponent) noexcept {
  if (!AComponent || AComponent == this) return;
  const bool mine = FFreeNotifies.size() <= AComponent->FFreeNotifies.size();
  const TNotify* found = mine ? FindNotify(AComponent) : AComponent->FindNotify(this);
  if (!found) return;
  const std::size_t there = found->Place;
  const TNotify& opposite = (mine ? AComponent : this)->FFreeNotifies[there];
  const std::size_t here = opposite.Place;
  RemoveNotify(mine ? here : there);
  AComponent->RemoveNotify(mine ? there : here);
}

void TVqComponent::AssignTo(TVqComponent* ADest) {
  throw EVqException(ADest ? "The component cannot be assigned to a component of this class."
                           : "The component cannot be assigned to an empty reference.");
}

void TVqComponent::Notification(TVqComponent*, TVqOperation) {}

std::string TVqStream::ReadAll() {
  const std::uint64_t size = GetSize();
  const std::uint64_t position = GetPosition();
  std::string bytes;
  std::size_t filled = 0;
  std::size_t room = size > position ? static_cast<std::size_t>(size - position) : 0;
  while (room > 0) {
    bytes.resize(filled + room);
    const std::size_t got = Read(bytes.data() + filled, room);
    filled += got;
    if (got == 0) break;
    room -= got;
  }
  // What is known of the size has been read; a device or a growing file may have more.
  char piece[4096];
  bytes.resize(filled);
  while (const std::size_t got = Read(piece, sizeof piece)) bytes.append(piece, got);
  return bytes;
}

namespace {

[[noreturn]] void RaiseNoMemory() {
  throw EStreamError("There is not enough memory for the stream.");
}

}  // namespace

std::size_t TVqMemoryStream::Read(void* buffer, std::size_t count) {
  if (count == 0 || FPosition >= FBytes.size()) return 0;
  count = std::min(count, FBytes.size() - static_cast<std::size_t>(FPosition));
  std::memcpy(buffer, FBytes.data() + FPosition, count);
  FPosition += count;
  return count;
}

void TVqMemoryStream::Write(const void* buffer, std::size_t count) {
  if (count == 0) return;
  if (FPosition > FBytes.max_size() || count > FBytes.max_size() - FPosition) RaiseNoMemory();
  const auto end = static_cast<std::size_t>(FPosition) + count;
  if (end > FBytes.size()) SetSize(end);
  std::memcpy(FBytes.data() + FPosition, buffer, count);
  FPosition = end;
}

void TVqMemoryStream::SetSize(std::uint64_t AValue) {
  if (AValue > FBytes.max_size()) RaiseNoMemory();
  try {
    FBytes.resize(static_cast<std::size_t>(AValue));
  } catch (const std::bad_alloc&) {
    RaiseNoMemory();
  }
}

std::string TVqMemoryStream::TakeBytes() noexcept {
  FPosition = 0;
  return std::exchange(FBytes, {});
}

void TVqMemoryStream::Clear() noexcept {
  FBytes.clear();
  FPosition = 0;
}

TVqFileStream::TVqFileStream(const string& AFileName, TVqFileMode AMode) : FName(AFileName) {
  if (AFileName.Contains(string(std::u16string(1, u'\0')))) {  // the system would take the part before it
    FFile = nullptr;
    RaiseFileError(FName, "opened", EINVAL);
  }
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

std::FILE* TVqFileStream::Handle() const {
  if (!FFile) throw EStreamError("The file \"" + FName + "\" is closed.");
  return FFile;
}

void TVqFileStream::Turn(TLast AWhat) {
  if (FLast != TLast::Nothing && FLast != AWhat && std::fseek(FFile, 0, SEEK_CUR) != 0) {
    RaiseFileError(FName, "positioned");
  }
  FLast = AWhat;
}

std::size_t TVqFileStream::Read(void* buffer, std::size_t count) {
  std::FILE* file = Handle();
  if (count == 0) return 0;
  Turn(TLast::Read);
  const std::size_t got = std::fread(buffer, 1, count, file);
  if (got < count) {
    const int error = errno;
    const bool failed = std::ferror(file) != 0;
    std::clearerr(file);  // a file that grows has more to give at the next call
    if (failed) RaiseFileError(FName, "read", error);
  }
  return got;
}

void TVqFileStream::Write(const void* buffer, std::size_t count) {
  std::FILE* file = Handle();
  if (count == 0) return;
  Turn(TLast::Write);
  if (std::fwrite(buffer, 1, count, file) != count) {
    const int error = errno;
    std::clearerr(file);
    RaiseFileError(FName, "written", error);
  }
}

std::uint64_t TVqFileStream::GetPosition() const {
#ifdef _WIN32
  const std::int64_t position = _ftelli64(Handle());
#else
  const std::int64_t position = ftello(Handle());
#endif
  if (position < 0) RaiseFileError(FName, "positioned");
  return static_cast<std::uint64_t>(position);
}

void TVqFileStream::SetPosition(std::uint64_t AValue) {
  std::FILE* file = Handle();
#ifdef _WIN32
  const int failed = _fseeki64(file, static_cast<std::int64_t>(AValue), SEEK_SET);
#else
  const int failed = fseeko(file, static_cast<off_t>(AValue), SEEK_SET);
#endif
  if (failed != 0) RaiseFileError(FName, "positioned");
  FLast = TLast::Nothing;
}

std::uint64_t TVqFileStream::GetSize() const {
  std::FILE* file = Handle();
  // Only what was written waits in the buffer; flushing an input stream would move the system's own position.
  if (FLast == TLast::Write && std::fflush(file) != 0) RaiseFileError(FName, "written");
#ifdef _WIN32
  struct _stat64 status;
  const int failed = _fstat64(_fileno(file), &status);
#else
  struct stat status;
  const int failed = fstat(fileno(file), &status);
#endif
  if (failed != 0) RaiseFileError(FName, "measured");
  return static_cast<std::uint64_t>(status.st_size);
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
  for (const string& item : FItems) {
    text += item;
    text += u"\r\n";
  }
  return text;
}

void TVqStrings::SetText(const string& AText) {
  std::vector<string> items;  // apart, as the text may be one of this list's own
  std::size_t start = 0;
  while (start < AText.Length()) {
    std::size_t end = AText.view().find_first_of(u"\r\n", start);
    if (end == string::npos) end = AText.Length();
    items.push_back(AText.Copy(start, end - start));
    start = end + (AText.view().substr(end, 2) == u"\r\n" ? 2 : 1);
  }
  FItems = std::move(items);
}

}  // namespace velmore
