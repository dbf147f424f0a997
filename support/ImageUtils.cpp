#include "support/ImageUtils.h"

#include <algorithm>
#include <cmath>

#include "platform/imaging/NSGraphicsContext.h"
#include "platform/imaging/Turn.h"

namespace zelto {

namespace {

constexpr double kWholeTurn = 360;
constexpr double kOpaque = 1;

// The receiver with its centre where the context's origin is.
void drawCentred(NSGraphicsContext& context, const NSImage& image) {
  const auto [width, height] = image.size();
  context.drawImage(image, {-width / 2, -height / 2}, kOpaque);
}

// As large as the box around the frame when that is turned.
NSSize boxAround(NSSize frame, double degrees) {
  const auto [cosine, sine] = turnByDegrees(degrees);
  const double c = std::fabs(cosine);
  const double s = std::fabs(sine);
  return {frame.width * c + frame.height * s, frame.height * c + frame.width * s};
}

double pixelsPerPoint(const NSImage& image) {
  const auto* rep = image.bestRepresentation();
  const bool known = rep != nullptr && rep->isBitmap() && image.size().width > 0 && rep->pixelsWide() > 0;
  return known ? rep->pixelsWide() / image.size().width : 1;
}

}  // namespace

NSImagePtr rotateByDegrees(const NSImagePtr& receiver, double degrees) {
  const double rest = std::fmod(degrees, kWholeTurn);
  if (rest == 0 || !std::isfinite(degrees)) return receiver;
  const auto size = receiver->size();
  return NSImage::drawn(size, 1, [&](NSGraphicsContext& context) {
    context.translate({size.width / 2, size.height / 2});
    context.rotateByDegrees(kWholeTurn - rest);
    drawCentred(context, *receiver);
  });
}

NSImagePtr rotatexByDegrees(const NSImagePtr& receiver, double degrees) {
  const double rest = std::fmod(std::trunc(degrees), kWholeTurn);
  if (rest == 0 || !std::isfinite(degrees)) return receiver;
  const auto size = boxAround(receiver->size(), rest);
  return NSImage::drawn(size, pixelsPerPoint(*receiver), [&](NSGraphicsContext& context) {
    context.translate({size.width / 2, size.height / 2});
    context.rotateByDegrees(rest);
    drawCentred(context, *receiver);
  });
}

NSImagePtr imageWithAlpha(const NSImagePtr& receiver, double alpha) {
  return NSImage::drawn(receiver->size(), 1, [&](NSGraphicsContext& context) {
    context.drawImage(*receiver, {0, 0}, alpha);
  });
}

NSImagePtr imageWithFirstCharacterOfText(const NSImagePtr& receiver, std::string_view text, NSColor color) {
  const auto size = receiver->size();
  return NSImage::drawn(size, 1, [&](NSGraphicsContext& context) {
    context.drawText(text, size.height, color, {0, 0});
  });
}

NSImagePtr extractImageOfSize(NSSize size, const NSImagePtr& fromICNSImage) {
  if (fromICNSImage == nullptr) return nullptr;
  const auto& representations = fromICNSImage->representations();
  const auto found = std::ranges::find_if(representations, [&](const NSImageRep& rep) {
    return rep.isBitmap() && rep.pixelsWide() == size.width && rep.pixelsHigh() == size.height;
  });
  if (found == representations.end()) return nullptr;
  return std::make_shared<const NSImage>(size, std::vector{*found});
}

}  // namespace zelto
