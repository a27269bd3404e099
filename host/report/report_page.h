// The page of a report: one file that loads nothing.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "host/export/recording.h"
#include "host/state/package_report.h"

namespace host {

/// Of one recording; more would only make the page long.
constexpr std::size_t kMostReported = 100;

/// The launches of a recording: the last ones, and what all of them came to.
struct ReportedLaunches {
    void add(DumpedLaunch launch);

    std::deque<DumpedLaunch> launches;
    std::size_t inAll = 0;
    std::size_t settled = 0;
    std::size_t doubted = 0;           ///< of the settled ones
    std::vector<double> sinceStartMs;  ///< theirs, where measured
};

/// Gathers the page as text, recording by recording.
class ReportPage {
public:
    /// What show prints of the packages, without rows when it knows none of them.
    void setKnown(TextTable known) { mKnown = std::move(known); }

    void add(const Recording& recording, const ReportedLaunches& launches);

    /// A package without a dump.
    void addUnrecorded(const std::string& package);

    /// Of the page's own making (comparison_section.h).
    void setComparison(std::string content) { mComparison = std::move(content); }

    /// `version` is that of the program that writes it.
    std::string html(const std::string& version, std::int64_t writtenAtUnixMs) const;

private:
    void addLaunch(const DumpedLaunch& launch, const std::string& title);
    std::string nextId() { return "p" + std::to_string(++mIds); }
    std::string title() const;

    TextTable mKnown;
    TextTable mRecorded;              // a row each, of text
    std::vector<std::string> mLinks;  // theirs, to their sections
    std::string mComparison;
    std::string mSections;
    int mIds = 0;
};

}  // namespace host
