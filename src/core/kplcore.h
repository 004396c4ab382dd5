/* The core layer under every tier of the library. */
#ifndef KPLCORE_H
#define KPLCORE_H

#ifdef __cplusplus
extern "C" {
#endif

#define KPLCORE_API __attribute__((visibility("default")))

/* Memory of `size` bytes (at least 1), 32-byte aligned, or null. */
KPLCORE_API void* kplMalloc(int size);
/* Releases memory from kplMalloc; null is accepted. */
KPLCORE_API void kplFree(void* ptr);
/* `ptr` rounded up to `align`, a power of two. */
KPLCORE_API void* kplAlignPtr(void* ptr, int align);
/* The number of threads the library may use: the OpenMP runtime's maximum, at least 1. */
KPLCORE_API int ownGetNumThreads(void);

#ifdef __cplusplus
}
#endif
#endif
