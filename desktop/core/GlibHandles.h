#pragma once

#include <memory>

#include <gio/gio.h>

namespace zelto::desktop {

// Owners of what GLib hands out.
template <typename Object>
struct ObjectRelease {
  void operator()(Object* object) const { g_object_unref(object); }
};
template <typename Object>
using ObjectPointer = std::unique_ptr<Object, ObjectRelease<Object>>;

struct VariantRelease {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPointer = std::unique_ptr<GVariant, VariantRelease>;

struct MemoryRelease {
  void operator()(void* memory) const { g_free(memory); }
};
using TextPointer = std::unique_ptr<char, MemoryRelease>;

// Another owner of an object that somebody else owns, too.
template <typename Object>
ObjectPointer<Object> shared(Object* object) {
  return ObjectPointer<Object>(static_cast<Object*>(g_object_ref(object)));
}

}  // namespace zelto::desktop
