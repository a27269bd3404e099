// Text in a page.
#include "host/report/html.h"

#include <cmath>

#include "host/base/printable.h"

namespace host {
namespace {

const char* entityOf(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return nullptr;
    }
}

}  // namespace

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (const char* const entity = entityOf(c)) {
            result += entity;
        } else {
            result += c;
        }
    }
    return result;
}

std::string htmlText(const std::string& text) {
    return escaped(printable(text));
}

std::string msHtml(double ms) {
    return std::to_string(std::lround(ms)) + " ms";
}

std::string tableHtml(const TextTable& table, const std::vector<std::string>& links) {
    std::string html = "<div class='wide'><table>\n<thead><tr>";
    for (const std::string& cell : table.front())
        html += "<th scope='col'>" + htmlText(cell) + "</th>";
    html += "</tr></thead>\n<tbody>\n";
    for (std::size_t row = 1; row < table.size(); ++row) {
        html += "<tr>";
        for (std::size_t i = 0; i < table[row].size(); ++i) {
            const bool isLink = i == 0 && row <= links.size() && !links[row - 1].empty();
            const std::string text = htmlText(table[row][i]);
            html += "<td>" +
                    (isLink ? "<a href='#" + links[row - 1] + "'>" + text + "</a>" : text) +
                    "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

}  // namespace host
