// Judges figures by their bounds and lays the rows out.
#include "bench/table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace {

std::string number(double value, const std::string& unit) {
    char text[40];
    const int decimals = std::fabs(value) < 10 ? 2 : std::fabs(value) < 100 ? 1 : 0;
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text + (unit.empty() ? unit : " " + unit);
}

std::string bound(const char* sign, double limit, const std::string& unit) {
    char text[40];
    std::snprintf(text, sizeof(text), "%s %g", sign, limit);
    return text + (unit.empty() ? unit : " " + unit);
}

std::array<std::string, 5> cells(const Row& row) {
    return {row.what, row.against, row.figure, row.target, row.verdict};
}

std::string line(const std::array<std::string, 5>& texts,
                 const std::array<std::size_t, 5>& widths) {
    std::string result = "|";
    for (std::size_t i = 0; i < texts.size(); ++i)
        result += " " + texts[i] + std::string(widths[i] - texts[i].size(), ' ') + " |";
    return result + "\n";
}

}  // namespace

void Table::atMost(std::string what, std::string against, double figure, double limit,
                   const std::string& unit) {
    mRows.push_back({std::move(what), std::move(against), number(figure, unit),
                     bound("<=", limit, unit), figure <= limit ? "met" : "missed"});
}

void Table::atLeast(std::string what, std::string against, double figure, double limit,
                    const std::string& unit) {
    mRows.push_back({std::move(what), std::move(against), number(figure, unit),
                     bound(">=", limit, unit), figure >= limit ? "met" : "missed"});
}

void Table::tell(std::string what, std::string against, double figure, const std::string& unit) {
    mRows.push_back({std::move(what), std::move(against), number(figure, unit), "", ""});
}

void Table::fail(std::string what, std::string why) {
    mRows.push_back({std::move(what), std::move(why), "-", "", "FAILED"});
    mHasFailures = true;
}

std::string Table::markdown() const {
    const std::array<std::string, 5> head = {"what", "against", "figure", "target", "verdict"};
    std::array<std::size_t, 5> widths{};
    for (std::size_t i = 0; i < widths.size(); ++i) {
        widths[i] = head[i].size();
        for (const Row& row : mRows)
            widths[i] = std::max(widths[i], cells(row)[i].size());
    }
    std::string result = line(head, widths) + "|";
    for (const std::size_t width : widths)
        result += std::string(width + 2, '-') + "|";
    result += "\n";
    for (const Row& row : mRows)
        result += line(cells(row), widths);
    return result;
}
