// What a report says of two recordings beside each other.
#pragma once

#include <string>

#include "host/report/report_page.h"

namespace host {

/// The launches as compare takes them; those of a dump that are shown.
Measurement measurementOf(const Recording& recording, const ReportedLaunches& launches);

/// A recording, and what a report shows of it.
struct ReportedSide {
    const Recording& recording;
    const ReportedLaunches& launches;
};

/// As a page has it. Where there is nothing to compare it says so.
std::string comparisonSection(const ReportedSide& older, const ReportedSide& newer);

}  // namespace host
