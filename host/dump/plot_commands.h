// Gnuplot commands that the panels of a picture share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/library/metric.h"

namespace host {

enum class PictureFormat { kSvg, kPng, kText };

// Colours that people with any kind of colour vision tell apart; dash patterns
// and marks differ too, for black and white.
constexpr const char* kBlack = "#000000";
constexpr const char* kOrange = "#E69F00";
constexpr const char* kSkyBlue = "#56B4E9";
constexpr const char* kGreen = "#009E73";
constexpr const char* kBlue = "#0072B2";
constexpr const char* kVermilion = "#D55E00";
constexpr const char* kPurple = "#CC79A7";
constexpr const char* kPaleBlue = "#D6EBF7";
constexpr const char* kGrey = "#808080";

/// Digits that a value needs, of memory in kB with a tolerance's decimals.
constexpr int kDigits = 12;

/// `text` as gnuplot takes it literally: in single quotes nothing is expanded.
std::string quoted(const std::string& text);

/// "memory (kB)".
std::string axisTitle(Metric metric);

/// Name of the data block of one launch's series.
std::string dataName(std::size_t launch, Metric metric);

/// A vertical line across the panel, with words for it.
struct Mark {
    std::int64_t timeMs;
    std::string text;
    const char* colour;
    int dash;
};

/// The lines of `marks`, whose words stand one below the other on the side where
/// the panel has more room, clear of all the lines.
std::string markCommands(const std::vector<Mark>& marks, std::int64_t lastMs);

/// Lets the panel show all `values`, with a share of their height above them
/// for words.
std::string rangeCommands(const std::vector<double>& values, double roomAbove);

/// One plot command of all `plots`.
std::string plotCommand(const std::vector<std::string>& plots);

}  // namespace host
