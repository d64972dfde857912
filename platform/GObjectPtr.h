#pragma once

#include <glib-object.h>

#include <memory>

// Owning pointers for GLib objects, errors and strings.
namespace nvrprint::platform {

template <typename T>
struct GObjectUnref {
    void operator()(T* object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref<T>>;

struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

struct GFree {
    void operator()(void* memory) const { g_free(memory); }
};
// A string GLib allocated.
using GCharPtr = std::unique_ptr<char, GFree>;

}  // namespace nvrprint::platform
