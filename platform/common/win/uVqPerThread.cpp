#include "platform/common/internal/uVqPerThread.h"

#include <windows.h>

#include <new>

namespace velmore {
namespace {

struct THeld {
  TVqThreadSlot::TDestroy Destroy;
  void* Object;
};

/// Windows calls this when a thread ends that has something in a slot.
void WINAPI Release(void* held) {
  const std::unique_ptr<THeld> owned(static_cast<THeld*>(held));
  if (owned) owned->Destroy(owned->Object);
}

}  // namespace

TVqThreadSlot::TVqThreadSlot(TDestroy ADestroy) : FDestroy(ADestroy), FNumber(FlsAlloc(&Release)) {
  if (FNumber == FLS_OUT_OF_INDEXES) throw std::bad_alloc();
}

void* TVqThreadSlot::Get() const noexcept {
  const auto* held = static_cast<const THeld*>(FlsGetValue(FNumber));
  return held ? held->Object : nullptr;
}

void TVqThreadSlot::Set(void* AObject) const {
  auto held = std::make_unique<THeld>(THeld{FDestroy, AObject});
  if (!FlsSetValue(FNumber, held.get())) throw std::bad_alloc();
  held.release();
}

}  // namespace velmore
