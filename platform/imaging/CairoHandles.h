#pragma once

#include <memory>

#include <cairo.h>

namespace zelto {

struct CairoDeleter {
  void operator()(cairo_surface_t* surface) const { ::cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { ::cairo_destroy(context); }
};

using CairoSurfacePtr = std::shared_ptr<cairo_surface_t>;
using CairoContextPtr = std::unique_ptr<cairo_t, CairoDeleter>;

// OWNER: takes the reference. Null for a surface that could not be made.
inline CairoSurfacePtr ownedSurface(cairo_surface_t* surface) {
  if (::cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) return {surface, CairoDeleter()};
  ::cairo_surface_destroy(surface);
  return nullptr;
}

}  // namespace zelto
