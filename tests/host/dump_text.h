// Writes dumps as the library does, from series that a test makes up.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

/// One block. The weights are there as far as their series go.
struct BlockText {
    std::vector<int> vmRss;
    std::vector<int> oomScore;
    std::vector<int> fdCount;
    std::vector<int> top;  // of the memory
    std::string endpoints = "0, 0, 0";
    std::string settled = "0, 0, 0";
    std::string final;  // empty: undecided

    std::string str() const {
        std::string text =
            "\n\n FD, OOM, VMRSS,VmRssAge,OOMScroeAge,FDCountAge,mAgeTable,mVmRssTop12,"
            "mOOMScroeTop12,mFDCountTop12";
        const std::size_t rows =
            std::max({vmRss.size(), oomScore.size(), fdCount.size(), std::size_t{12}});
        for (std::size_t i = 0; i < rows; ++i) {
            text += '\n' + cell(fdCount, i) + cell(oomScore, i) + cell(vmRss, i) +
                    weight(vmRss.size(), i) + weight(oomScore.size(), i) +
                    weight(fdCount.size(), i) + weight(12, i) + cell(top, i) + "0, 0, ";
        }
        text += "\nmVmRssEp, mOOMScroeEp, mFDCountEp\n" + endpoints +
                "\n\nmVmRssYoungest, mOOMScroeYoungest, mFDCountYoungest\n" + settled + "\n";
        return final.empty() ? text : text + "\nFinal : " + final + "\n";
    }

private:
    static std::string cell(const std::vector<int>& values, std::size_t i) {
        return (i < values.size() ? std::to_string(values[i]) : "0") + ", ";
    }
    static std::string weight(std::size_t size, std::size_t i) {
        return i < size ? "0.000488, " : "0, ";
    }
};

constexpr const char* kAbortText = "\nAborted Before analysis 0\n";

/// `size` values that grow by 4 from `start` on.
inline std::vector<int> rising(int start, std::size_t size) {
    std::vector<int> values(size);
    for (std::size_t i = 0; i < size; ++i)
        values[i] = start + 4 * static_cast<int>(i);
    return values;
}
