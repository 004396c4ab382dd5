/* The core layer: allocation, alignment and the thread count. */
#define _POSIX_C_SOURCE 200112L
#include "kplcore.h"

#include <omp.h>
#include <stdint.h>
#include <stdlib.h>

enum { kCoreAlignment = 32 };

void* kplMalloc(int size) {
  void* p = NULL;
  if (size < 1) return NULL;
  if (posix_memalign(&p, kCoreAlignment, (size_t)size) != 0) return NULL;
  return p;
}

void kplFree(void* ptr) { free(ptr); }

void* kplAlignPtr(void* ptr, int align) {
  uintptr_t a = (uintptr_t)ptr;
  uintptr_t mask = (uintptr_t)align - 1;
  return (void*)((a + mask) & ~mask);
}

int ownGetNumThreads(void) {
  int n = omp_get_max_threads();
  return n < 1 ? 1 : n;
}
