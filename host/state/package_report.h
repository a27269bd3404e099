// The packages that the store knows and their generations, as show prints them.
#pragma once

#include <string>
#include <vector>

#include "host/state/generations.h"
#include "host/state/history.h"
#include "host/state/store_reader.h"

namespace host {

/// Rows of cells for a person, a heading first.
using TextTable = std::vector<std::vector<std::string>>;

TextTable tableOf(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                  const Generations& generations);

/// Each ends with a newline. What was measured is that of the newest generation.
std::string renderText(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                       const Generations& generations);
std::string renderJson(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                       const Generations& generations);
/// A heading and one row a package; empty where nothing was measured. Names are
/// as they are stored, but made fit to be shown for a terminal.
std::string renderCsv(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                      const Generations& generations, bool isForTerminal);

/// One generation of a package, as far as it is in the history.
struct GenerationRow {
    std::string package;
    Generation generation;
    PackageHistory history;
};

/// The same for generations.
TextTable tableOf(const std::vector<GenerationRow>& rows);
std::string renderText(const std::vector<GenerationRow>& rows);
std::string renderJson(const std::vector<GenerationRow>& rows);
std::string renderCsv(const std::vector<GenerationRow>& rows, bool isForTerminal);

}  // namespace host
