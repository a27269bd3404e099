// How a report looks: in light, in dark, on a phone and on paper.
#pragma once

namespace host {

/// CSS. Lines differ by their dashes too, for print and for colour-blind readers.
extern const char* const kReportStyle;

}  // namespace host
