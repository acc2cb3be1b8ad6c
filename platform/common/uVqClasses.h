#pragma once

/// Reference counting, components, streams and string lists.
///
///     TVqRef<IVqEWSFolder> folder = store->GetFolder(dfininbox);     // counts
///     if (auto calendar = Supports<IVqEWSCalendarFolder>(folder)) ...  // another interface of the same object

#include <atomic>
#include <concepts>
#include <cstdio>
#include <string_view>
#include <utility>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// Root of all counted interfaces. Interfaces derive from it virtually, so that one implementation of the two
/// operations in a class serves every interface of that class. The count is atomic.
class IVqObject {
 public:
  /// One more reference; gives the new count.
  virtual std::int32_t _AddRef() noexcept = 0;
  /// One reference fewer; gives the new count. At zero an object that destroys itself is gone.
  virtual std::int32_t _Release() noexcept = 0;

 protected:
  ~IVqObject() = default;
};

namespace detail {

/// The name of a class without its namespaces, as the compiler writes it into the name of this function.
template <typename T>
constexpr std::string_view ClassName() noexcept {
#if defined(_MSC_VER) && !defined(__clang__)
  std::string_view name = __FUNCSIG__;  // "... ClassName<class velmore::IVqEWSFolder>(void) noexcept"
  name = name.substr(0, name.rfind(">("));
  constexpr std::string_view kNoPartOfNames = "<: ";
#else
  std::string_view name = __PRETTY_FUNCTION__;  // "... [with T = velmore::IVqEWSFolder; ...]"
  name.remove_prefix(name.find("T = ") + 4);
  name = name.substr(0, name.find_first_of(";]"));
  constexpr std::string_view kNoPartOfNames = ": ";
#endif
  return name.substr(name.substr(0, name.find('<', 1)).find_last_of(kNoPartOfNames) + 1);
}

/// Raises the plain exception "An empty reference to IVqEWSFolder was used."
[[noreturn]] void RaiseEmptyReference(std::string_view AClass);

}  // namespace detail

/// The smart pointer; nothing else counts references. A copy costs one atomic increment; an empty one raises a plain
/// exception with its class's name when it is used, since a reference that was never set is the caller's error and must
/// not end the process.
template <typename T>
class TVqRef {
 public:
  TVqRef() noexcept = default;
  /// Refers to nothing, shares the object, or takes the other's share.
  TVqRef(std::nullptr_t) noexcept {}
  TVqRef(T* object) noexcept : FObject(object) {
    if (FObject) FObject->_AddRef();
  }
  TVqRef(const TVqRef& other) noexcept : TVqRef(other.FObject) {}
  TVqRef(TVqRef&& other) noexcept : FObject(std::exchange(other.FObject, nullptr)) {}
  template <typename U>
  requires std::convertible_to<U*, T*> TVqRef(const TVqRef<U>& other)
  noexcept : TVqRef(static_cast<T*>(other.get())) {}
  ~TVqRef() {
    if (FObject) FObject->_Release();
  }
  /// Gives its share back and takes the other's.
  TVqRef& operator=(TVqRef other) noexcept {
    std::swap(FObject, other.FObject);
    return *this;
  }

  /// Takes over a reference that is already counted.
  static TVqRef Adopt(T* object) noexcept {
    TVqRef ref;
    ref.FObject = object;
    return ref;
  }

  /// The object, or null; counts nothing. The two operators raise when there is none.
  T* get() const noexcept { return FObject; }
  T* operator->() const { return &**this; }
  T& operator*() const {
    if (!FObject) detail::RaiseEmptyReference(detail::ClassName<T>());
    return *FObject;
  }
  /// True when it refers to an object.
  explicit operator bool() const noexcept { return FObject != nullptr; }
  /// The same object, not an equal one; equal to nullptr when it refers to nothing.
  friend bool operator==(const TVqRef& a, const TVqRef& b) noexcept { return a.FObject == b.FObject; }
  friend bool operator==(const TVqRef& a, std::nullptr_t) noexcept { return !a.FObject; }

 private:
  T* FObject = nullptr;
};

/// Asks an object for another interface or class; empty when it has none.
template <typename T, typename U>
TVqRef<T> Supports(const TVqRef<U>& object) {
  return TVqRef<T>(dynamic_cast<T*>(object.get()));
}
template <typename T, typename U>
TVqRef<T> Supports(U* object) {
  return TVqRef<T>(dynamic_cast<T*>(object));
}

class TVqComponent;

/// The one way to make a counted object: `MakeRef<TVqEWSFolder>(...)`. The object is born with the one reference that
/// is returned. A component made without an owner destroys itself with its last reference.
template <typename T, typename... Args>
TVqRef<T> MakeRef(Args&&... args) {
  T* object = new T(std::forward<Args>(args)...);
  if constexpr (std::derived_from<T, TVqComponent>) {
    if (!object->GetOwner()) object->SetAutoDestroy(true);
  }
  return TVqRef<T>::Adopt(object);
}

/// Number of objects alive in this process that derive from the counted base classes; tests compare it with an earlier
/// count.
std::int64_t VqLiveObjectCount() noexcept;

/// Counts live objects for `VqLiveObjectCount`.
class TVqLiveObject {
 protected:
  /// Counts one more, and one fewer at its destruction.
  TVqLiveObject() noexcept;
  /// Every object counts, copies too.
  TVqLiveObject(const TVqLiveObject&) noexcept : TVqLiveObject() {}
  TVqLiveObject& operator=(const TVqLiveObject&) noexcept = default;
  ~TVqLiveObject();
};

/// Base of counted classes that are not components: documents, requests, responses, lists. Born with a count of one
/// (see `MakeRef`), gone at zero.
class TVqObject : public virtual IVqObject, private TVqLiveObject {
 public:
  std::int32_t _AddRef() noexcept final { return ++FRefCount; }
  std::int32_t _Release() noexcept final;

  TVqObject(const TVqObject&) = delete;
  TVqObject& operator=(const TVqObject&) = delete;

 protected:
  TVqObject() noexcept = default;
  virtual ~TVqObject() = default;

 private:
  std::atomic<std::int32_t> FRefCount{1};
};

/// Base of classes whose objects have one owner and no count: records and their arrays.
class TVqObjectEx {
 public:
  virtual ~TVqObjectEx() = default;
  TVqObjectEx(const TVqObjectEx&) = delete;
  TVqObjectEx& operator=(const TVqObjectEx&) = delete;

 protected:
  TVqObjectEx() noexcept = default;
};

/// What a notification says of another component. The library reports removals only.
enum class TVqOperation { opInsert, opRemove };

/// A named object with an owner; it can ask to be told when another one goes away.
///
/// Owns the components that were made with it as their owner and destroys them with itself, last made first. No copies.
/// The count is atomic, and any number of threads may make and free components of one owner at a time, as long as it
/// lives; everything else belongs to one thread at a time. Lives on the stack, in its owner or, with
/// `AutoDestroy` on, by its count.
class TVqComponent : public virtual IVqObject, private TVqLiveObject {
 public:
  /// `AOwner` may be empty: then whoever made the component, or its count, decides about its life.
  explicit TVqComponent(TVqComponent* AOwner = nullptr);
  virtual ~TVqComponent();
  TVqComponent(const TVqComponent&) = delete;
  TVqComponent& operator=(const TVqComponent&) = delete;

  std::int32_t _AddRef() noexcept override;
  std::int32_t _Release() noexcept override;

  /// A name for the application's own use; it need not be unique. Empty at first.
  const string& GetName() const noexcept { return FName; }
  void SetName(const string& AValue) { FName = AValue; }
  /// The component that destroys this one; null when there is none.
  TVqComponent* GetOwner() const noexcept { return FOwner; }

  /// If true, the component destroys itself when its last reference goes. Only for components without an owner.
  void SetAutoDestroy(bool AValue) noexcept { FAutoDestroy = AValue; }
  bool GetAutoDestroy() const noexcept { return FAutoDestroy; }

  /// Asks this component to call `AComponent`'s Notification when this component goes away. Mutual: when `AComponent`
  /// goes first, this one is told. Asking twice changes nothing, and neither does asking a component in destruction.
  /// Costs the same however many watch this component. The order in which they are told is not fixed.
  void FreeNotification(TVqComponent* AComponent);
  /// Withdraws the request, on both sides.
  void RemoveFreeNotification(TVqComponent* AComponent) noexcept;

  /// Copies this component's settings to `ADest`. Here: raises a plain exception, as nothing is known of the
  /// destination.
  virtual void AssignTo(TVqComponent* ADest);

 protected:
  /// Told of a component that goes away (`opRemove`) after FreeNotification. `AComponent` is in destruction: compare
  /// its address, call nothing on it. It cannot be stopped: what this raises is lost.
  virtual void Notification(TVqComponent* AComponent, TVqOperation AOperation);

 private:
  std::atomic<std::int32_t> FRefCount{1};
  bool FAutoDestroy = false;
  bool FDestroying = false;
  string FName;
  TVqComponent* TakeLastOwned() noexcept;

  TVqComponent* FOwner;
  std::vector<TVqComponent*> FComponents;
  /// One side of a pair whose components tell each other. It knows its place on the other side, since a session is
  /// watched by every object made through it and must not search among them when one goes.
  struct TNotify {
    TVqComponent* Other;
    std::size_t Place;
  };
  const TNotify* FindNotify(const TVqComponent* AComponent) const noexcept;
  void RemoveNotify(std::size_t APlace) noexcept;

  std::vector<TNotify> FFreeNotifies;
};

/// An event without arguments beyond its sender.
using TVqNotifyEvent = std::function<void(TVqComponent& ASender)>;

/// A sequence of bytes with a position. One thread at a time. Raises EStreamError when the medium fails.
class TVqStream {
 public:
  virtual ~TVqStream() = default;
  /// Reads up to `count` bytes into `buffer` and gives how many there were; 0 at the end.
  virtual std::size_t Read(void* buffer, std::size_t count) = 0;
  /// Writes all `count` bytes at the position. Past the end, the gap is filled with zeros.
  virtual void Write(const void* buffer, std::size_t count) = 0;
  /// Bytes from the start. May be set past the end: reading gives nothing there.
  virtual std::uint64_t GetPosition() const = 0;
  virtual void SetPosition(std::uint64_t AValue) = 0;
  /// Number of all bytes, whatever the position.
  virtual std::uint64_t GetSize() const = 0;

  /// Writes all bytes at the position.
  void Write(std::string_view bytes) { Write(bytes.data(), bytes.size()); }
  /// Everything from the position to the end, whatever the size of the pieces in which Read gives it.
  std::string ReadAll();
};

/// A stream in memory. Owns its bytes; a copy copies them. Raises EStreamError when memory runs out.
class TVqMemoryStream : public TVqStream {
 public:
  TVqMemoryStream() = default;
  /// Takes the bytes over; the position is 0.
  explicit TVqMemoryStream(std::string bytes) : FBytes(std::move(bytes)) {}

  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override;
  void Write(const void* buffer, std::size_t count) override;
  std::uint64_t GetPosition() const override { return FPosition; }
  void SetPosition(std::uint64_t AValue) override { FPosition = AValue; }
  std::uint64_t GetSize() const override { return FBytes.size(); }
  /// Cuts bytes off the end, or adds zeros there. The position stays.
  void SetSize(std::uint64_t AValue);

  /// All bytes, whatever the position. Valid until the stream changes.
  const std::string& Bytes() const noexcept { return FBytes; }
  /// Hands out the bytes without a copy and leaves the stream empty, at position 0.
  std::string TakeBytes() noexcept;
  /// Removes everything; the position is 0.
  void Clear() noexcept;

 protected:
  /// For derived streams that do more with their bytes.
  std::string FBytes;
  std::uint64_t FPosition = 0;
};

/// How a file is opened: an existing one for reading, or a new one (in place of an old one) for reading and writing.
enum class TVqFileMode { fmOpenRead, fmCreate };

/// A file, open from construction to destruction or `Close`. Owns the system's handle; no copies; one thread at a time.
/// The destructor cannot report a failure: whoever writes calls `Close` first. Raises EStreamError with the name of the
/// file and the system's text.
class TVqFileStream : public TVqStream {
 public:
  /// Opens or creates the file; the folder must exist.
  TVqFileStream(const string& AFileName, TVqFileMode AMode);
  ~TVqFileStream() override;
  TVqFileStream(const TVqFileStream&) = delete;
  TVqFileStream& operator=(const TVqFileStream&) = delete;

  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override;
  void Write(const void* buffer, std::size_t count) override;
  std::uint64_t GetPosition() const override;
  void SetPosition(std::uint64_t AValue) override;
  std::uint64_t GetSize() const override;
  /// Closes the file and raises the failures that a full disk or a lost share reports only then. Closing twice changes
  /// nothing; every other operation on a closed file raises.
  void Close();

 private:
  enum class TLast { Nothing, Read, Write };

  std::FILE* Handle() const;
  /// Standard C wants the position to be set between reading and writing.
  void Turn(TLast AWhat);

  string FName;
  std::FILE* FFile;
  TLast FLast = TLast::Nothing;
};

/// A list of texts, in the order in which they were added. Owns them; a copy copies all; one thread at a time.
class TVqStrings {
 public:
  /// `ACaseSensitive` decides how IndexOf compares.
  explicit TVqStrings(bool ACaseSensitive = true) : FCaseSensitive(ACaseSensitive) {}

  /// Number of texts.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FItems.size()); }
  /// Raises EListError when there is no such position.
  const string& GetItem(std::int32_t AIndex) const;
  /// Gives the position of the new text.
  std::int32_t Add(const string& AText);
  /// Raises EListError when there is no such position.
  void Delete(std::int32_t AIndex);
  /// Removes all texts.
  void Clear() noexcept { FItems.clear(); }
  /// Position of the first equal text, or -1.
  std::int32_t IndexOf(const string& AText) const;
  /// Takes over the texts of the other list; how this one compares does not change.
  void Assign(const TVqStrings& AOther) { FItems = AOther.FItems; }
  /// All texts, each followed by CR LF; setting splits at CR LF, LF or CR.
  string GetText() const;
  void SetText(const string& AText);

  /// For loops over the texts, in their order. A loop must not go on once the list has changed.
  auto begin() const noexcept { return FItems.begin(); }
  auto end() const noexcept { return FItems.end(); }

 private:
  bool FCaseSensitive;
  std::vector<string> FItems;
};

}  // namespace velmore

/// Hash of references, for unordered containers: by the object, as they compare.
template <typename T>
struct std::hash<velmore::TVqRef<T>> {
  /// References to the same object have equal numbers.
  std::size_t operator()(const velmore::TVqRef<T>& reference) const noexcept {
    return std::hash<T*>()(reference.get());
  }
};
