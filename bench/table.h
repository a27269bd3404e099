// The table of results: each figure beside its target.
#pragma once

#include <string>
#include <vector>

struct Row {
    std::string what;
    std::string against;
    std::string figure;
    std::string target;   ///< empty for a figure that is only told
    std::string verdict;  ///< "met" or "missed"; empty without a target
};

class Table {
public:
    /// A figure with a bound; `unit` stands behind both.
    void atMost(std::string what, std::string against, double figure, double limit,
                const std::string& unit = "");
    void atLeast(std::string what, std::string against, double figure, double limit,
                 const std::string& unit = "");

    /// A figure without a bound.
    void tell(std::string what, std::string against, double figure, const std::string& unit = "");

    /// A measurement that read a wrong value, or none.
    void fail(std::string what, std::string why);

    bool hasFailures() const { return mHasFailures; }

    /// The rows as a Markdown table.
    std::string markdown() const;

private:
    std::vector<Row> mRows;
    bool mHasFailures = false;
};
