// Owns one reference of a GObject.
#pragma once

#include <glib-object.h>
#include <memory>

namespace zebphones {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

} // namespace zebphones
