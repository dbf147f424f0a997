#include "platform/imaging/NSGraphicsContext.h"

#include <cmath>

#include <pango/pangocairo.h>

#include "platform/foundation/NSString.h"
#include "platform/imaging/CairoHandles.h"
#include "platform/imaging/NSImage.h"
#include "platform/imaging/Turn.h"

namespace zelto {
namespace {

struct Unreference {
  void operator()(PangoFontMap* fonts) const { ::g_object_unref(fonts); }
  void operator()(PangoContext* context) const { ::g_object_unref(context); }
  void operator()(PangoLayout* layout) const { ::g_object_unref(layout); }
  void operator()(PangoFontDescription* font) const { ::pango_font_description_free(font); }
};
using FontMapPtr = std::unique_ptr<PangoFontMap, Unreference>;
using TextContextPtr = std::unique_ptr<PangoContext, Unreference>;
using LayoutPtr = std::unique_ptr<PangoLayout, Unreference>;
using FontPtr = std::unique_ptr<PangoFontDescription, Unreference>;

void setColor(cairo_t* context, NSColor color) {
  ::cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

// Pango reads text up to a NUL, and reports bytes that are not UTF-8 on standard error.
std::string drawable(std::string_view text) {
  constexpr std::size_t kMostShown = 4096;
  std::string result = replacingInvalidCharacters(text.substr(0, kMostShown));
  for (auto at = result.find('\0'); at != std::string::npos; at = result.find('\0', at)) {
    result.replace(at, 1, "\uFFFD");
  }
  return result;
}

// A scale of nothing would stop all further drawing.
bool hasArea(NSSize size) { return size.width > 0 && size.height > 0; }

// With fonts of its own: the shared ones are kept, in every size that was ever asked for, while the thread
// lives.
LayoutPtr layoutOf(cairo_t* context, const std::string& text, double pointSize) {
  constexpr double kLargestFont = 16384;
  const FontPtr font(::pango_font_description_from_string("system-ui, Sans"));
  ::pango_font_description_set_absolute_size(font.get(), std::fmin(pointSize, kLargestFont) * PANGO_SCALE);
  const FontMapPtr fonts(::pango_cairo_font_map_new());
  const TextContextPtr textContext(::pango_font_map_create_context(fonts.get()));
  ::pango_cairo_update_context(context, textContext.get());
  LayoutPtr layout(::pango_layout_new(textContext.get()));
  ::pango_layout_set_font_description(layout.get(), font.get());
  ::pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
  return layout;
}

}  // namespace

NSGraphicsContext::NSGraphicsContext(const std::shared_ptr<_cairo_surface>& target, double height,
                                     double pixelsPerPoint)
    : context_(::cairo_create(target.get()), ::cairo_destroy) {
  ::cairo_scale(context_.get(), pixelsPerPoint, -pixelsPerPoint);
  ::cairo_translate(context_.get(), 0, -height);
}

NSGraphicsContext::~NSGraphicsContext() = default;

void NSGraphicsContext::translate(NSPoint by) { ::cairo_translate(context_.get(), by.x, by.y); }

void NSGraphicsContext::rotateByDegrees(double degrees) {
  const auto [cosine, sine] = turnByDegrees(degrees);
  const cairo_matrix_t matrix{cosine, sine, -sine, cosine, 0, 0};
  ::cairo_transform(context_.get(), &matrix);
}

void NSGraphicsContext::fillRect(NSPoint origin, NSSize size, NSColor color) {
  setColor(context_.get(), color);
  ::cairo_rectangle(context_.get(), origin.x, origin.y, size.width, size.height);
  ::cairo_fill(context_.get());
}

void NSGraphicsContext::drawImage(const NSImage& image, NSPoint at, double fraction) {
  const auto* rep = image.bestRepresentation();
  const auto [width, height] = image.size();
  if (rep == nullptr || !rep->surface() || !hasArea(image.size()) || !hasArea(rep->size())) return;
  ::cairo_save(context_.get());
  ::cairo_translate(context_.get(), at.x, at.y + height);
  const double pixelsWide = rep->isBitmap() ? rep->pixelsWide() : rep->size().width;
  const double pixelsHigh = rep->isBitmap() ? rep->pixelsHigh() : rep->size().height;
  ::cairo_scale(context_.get(), width / pixelsWide, -height / pixelsHigh);
  ::cairo_set_source_surface(context_.get(), rep->surface().get(), 0, 0);
  ::cairo_paint_with_alpha(context_.get(), fraction > 0 ? std::fmin(fraction, 1) : 0);
  ::cairo_restore(context_.get());
}

void NSGraphicsContext::drawText(std::string_view text, double pointSize, NSColor color, NSPoint at) {
  if (!(pointSize > 0)) return;
  ::cairo_save(context_.get());
  const auto layout = layoutOf(context_.get(), drawable(text), pointSize);
  int height = 0;
  ::pango_layout_get_size(layout.get(), nullptr, &height);
  ::cairo_translate(context_.get(), at.x, at.y + static_cast<double>(height) / PANGO_SCALE);
  ::cairo_scale(context_.get(), 1, -1);
  ::cairo_move_to(context_.get(), 0, 0);
  setColor(context_.get(), color);
  ::pango_cairo_show_layout(context_.get(), layout.get());
  ::cairo_restore(context_.get());
}

}  // namespace zelto
