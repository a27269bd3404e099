// The packages that the store knows, as show prints them.
#pragma once

#include <string>
#include <vector>

#include "host/state/history.h"
#include "host/state/store_reader.h"

namespace host {

// Each ends with a newline.
std::string renderText(const std::vector<StoredPackage>& packages,
                       const HistoryContents& history = {});
std::string renderJson(const std::vector<StoredPackage>& packages,
                       const HistoryContents& history = {});
/// A heading and one row a package; empty where nothing was measured. Names are
/// as they are stored, but made fit to be shown for a terminal.
std::string renderCsv(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                      bool isForTerminal);

}  // namespace host
