#pragma once

#include <string_view>

#include "platform/imaging/NSImage.h"

namespace zelto {

// What is added to the platform's images; the first parameter is the receiver, which does not change. Logs
// nothing. REQUIRES: the receiver is not null. THREAD: as the image's representations.

// A picture of the same size with the receiver turned clockwise around its centre; corners that leave the
// frame are cut off. After whole turns (and for what is no angle) the receiver itself.
NSImagePtr rotateByDegrees(const NSImagePtr& receiver, double degrees);
// The receiver's pixels turned counterclockwise by whole degrees (the rest is cut), in a picture as large as
// the box around them. After whole turns the receiver itself.
NSImagePtr rotatexByDegrees(const NSImagePtr& receiver, double degrees);
// A picture of the same size with the receiver in that opacity, from 0 to 1.
NSImagePtr imageWithAlpha(const NSImagePtr& receiver, double alpha);
// A picture of the same size with the text, from the lower left corner on, in the system font as large as the
// picture is high. The caller passes the one character to draw.
NSImagePtr imageWithFirstCharacterOfText(const NSImagePtr& receiver, std::string_view text, NSColor color);
// A picture of that size with the first bitmap of exactly so many pixels. Null where the image (which may be
// null) has none.
NSImagePtr extractImageOfSize(NSSize size, const NSImagePtr& fromICNSImage);

}  // namespace zelto
