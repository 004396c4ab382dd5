// The version record: static, read-only, the same pointer on every call.
#include "frame/entry.hpp"
#include "kpls.h"

namespace {
constexpr KplLibraryVersion kVersion = {
    7, 0, 205, 1058, {'q', '5', '\0', '\0'}, "libkplsq5-7.0.dylib", "7.0 build 205.58", "Apr 19 2011",
};
}  // namespace

// The one entry without a slot: an ordinary exported function.
const KplLibraryVersion* kplsGetLibVersion(void) { return &kVersion; }
