// kplsMalloc_* and kplsFree: the library's only allocators, thin over the core.
#include "core/kplcore.h"
#include "frame/entry.hpp"

namespace {
// The byte size is a plain 32-bit product: a huge len wraps, and the core
// receives the wrapped size. Callers needing more than 2 GiB are not served.
template <class T>
T* allocate(int len) {
  if (len < 1) return nullptr;
  const Kpl32u bytes = static_cast<Kpl32u>(len) * static_cast<Kpl32u>(sizeof(T));
  return static_cast<T*>(kplMalloc(static_cast<int>(bytes)));
}
}  // namespace

Kpl8u* KPL_IMPL(kplsMalloc_8u)(int len) { return allocate<Kpl8u>(len); }
Kpl16u* KPL_IMPL(kplsMalloc_16u)(int len) { return allocate<Kpl16u>(len); }
Kpl32u* KPL_IMPL(kplsMalloc_32u)(int len) { return allocate<Kpl32u>(len); }
Kpl8s* KPL_IMPL(kplsMalloc_8s)(int len) { return allocate<Kpl8s>(len); }
Kpl16s* KPL_IMPL(kplsMalloc_16s)(int len) { return allocate<Kpl16s>(len); }
Kpl32s* KPL_IMPL(kplsMalloc_32s)(int len) { return allocate<Kpl32s>(len); }
Kpl64s* KPL_IMPL(kplsMalloc_64s)(int len) { return allocate<Kpl64s>(len); }
Kpl32f* KPL_IMPL(kplsMalloc_32f)(int len) { return allocate<Kpl32f>(len); }
Kpl64f* KPL_IMPL(kplsMalloc_64f)(int len) { return allocate<Kpl64f>(len); }
Kpl8sc* KPL_IMPL(kplsMalloc_8sc)(int len) { return allocate<Kpl8sc>(len); }
Kpl16sc* KPL_IMPL(kplsMalloc_16sc)(int len) { return allocate<Kpl16sc>(len); }
Kpl32sc* KPL_IMPL(kplsMalloc_32sc)(int len) { return allocate<Kpl32sc>(len); }
Kpl64sc* KPL_IMPL(kplsMalloc_64sc)(int len) { return allocate<Kpl64sc>(len); }
Kpl32fc* KPL_IMPL(kplsMalloc_32fc)(int len) { return allocate<Kpl32fc>(len); }
Kpl64fc* KPL_IMPL(kplsMalloc_64fc)(int len) { return allocate<Kpl64fc>(len); }

// No test of its own: the core accepts null.
void KPL_IMPL(kplsFree)(void* ptr) { kplFree(ptr); }
