// Text in a page.
#pragma once

#include <string>
#include <vector>

#include "host/state/package_report.h"

namespace host {

/// Own text, of whatever lines, as a page shows it.
std::string escaped(const std::string& text);

/// Text from outside, on one line; nothing in it can be taken for the page's own.
std::string htmlText(const std::string& text);

/// "450 ms", rounded.
std::string msHtml(double ms);

/// Of text from outside. The first cell of a row is a link to that place in the page,
/// where there is one for it.
std::string tableHtml(const TextTable& table, const std::vector<std::string>& links);

}  // namespace host
