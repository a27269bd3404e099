// How a picture distinguishes the older measurement from the newer.
#pragma once

#include "host/dump/plot_commands.h"

namespace host {

struct SideStyle {
    const char* name;
    const char* colour;
    int dash;
    int mark;         ///< a filled one; the one before it is hollow
    char letter;      ///< in a text
    double interval;  ///< height in the panel of dots of the median's interval; dots stand above
};

constexpr SideStyle kOld{"old", kBlue, 1, 7, 'o', 6};
constexpr SideStyle kNew{"new", kVermilion, 2, 9, 'n', 1};

/// What both panels of a comparison are drawn on.
struct ComparisonPicture {
    PictureFormat format = PictureFormat::kText;
    int columns = 80;      ///< of a text
    bool isAscii = false;  ///< a text's reader has no other characters

    bool isText() const { return format == PictureFormat::kText; }
    int width() const { return isText() ? columns : kWidthPx; }
    int mostTics() const {
        return isText() ? (columns - kColumnsBeside) / kColumnsPerTic : kWidthPx / kPixelsPerTic;
    }
};

}  // namespace host
