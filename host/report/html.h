// Text in a page.
#pragma once

#include <string>

namespace host {

/// Own text, of whatever lines, as a page shows it.
std::string escaped(const std::string& text);

/// Text from outside, on one line; nothing in it can be taken for the page's own.
std::string htmlText(const std::string& text);

}  // namespace host
