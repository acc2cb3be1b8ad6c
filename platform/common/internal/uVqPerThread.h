#pragma once

/// Objects that each thread has for itself.
///
///     struct TStore { ... };
///     TStore& store = VqPerThread<TStore>();   // this thread's

#include <memory>

#pragma GCC visibility push(hidden)

namespace velmore {

#ifdef _WIN32
/// A place that each thread has for itself, and what becomes of its object when the thread ends. Lives as long as the
/// process.
class TVqThreadSlot {
 public:
  using TDestroy = void (*)(void* AObject);

  /// Raises std::bad_alloc when the process has no more of them.
  explicit TVqThreadSlot(TDestroy ADestroy);

  /// The calling thread's object; null before it has one.
  void* Get() const noexcept;
  /// Owns the object from then on. Raises std::bad_alloc, and owns nothing then.
  void Set(void* AObject) const;

 private:
  TDestroy FDestroy;
  unsigned long FNumber;
};
#endif

/// The T of the calling thread: made when it is first asked for, destroyed when the thread ends. One for each T.
template <typename T>
T& VqPerThread() {
#ifdef _WIN32
  // MinGW frees the memory of thread_local objects before it runs their destructors.
  static const TVqThreadSlot slot([](void* object) { delete static_cast<T*>(object); });
  if (void* object = slot.Get()) return *static_cast<T*>(object);
  auto made = std::make_unique<T>();
  slot.Set(made.get());
  return *made.release();
#else
  thread_local T object;
  return object;
#endif
}

}  // namespace velmore

#pragma GCC visibility pop
