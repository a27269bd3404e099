// Reads recorded launches.
#include "bench/recording.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

void addLine(const std::string& line, LabelledLaunch& launch) {
    double settledAt = 0;
    if (std::sscanf(line.c_str(), "# settled at sample %lf", &settledAt) == 1)
        launch.settledAt = settledAt;
    if (line[0] == '#') return;
    std::istringstream numbers(line);
    std::int32_t memoryKb = 0;
    std::int32_t score = 0;
    std::int32_t descriptors = 0;
    if (!(numbers >> memoryKb >> score >> descriptors))
        throw std::runtime_error("not three numbers: " + line);
    launch.series.vmRssKb.push_back(memoryKb);
    launch.series.oomScore.push_back(score);
    launch.series.fdCount.push_back(descriptors);
}

}  // namespace

LabelledLaunch parseRecording(std::istream& text) {
    LabelledLaunch launch;
    std::string line;
    while (std::getline(text, line)) {
        if (!line.empty()) addLine(line, launch);
    }
    if (launch.settledAt == LabelledLaunch::kNeverSettles || launch.series.vmRssKb.empty())
        throw std::runtime_error("no label or no samples");
    return launch;
}

std::vector<LabelledLaunch> readRecordings(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<LabelledLaunch> launches;
    for (const std::filesystem::path& path : files) {
        std::ifstream text(path);
        try {
            launches.push_back(parseRecording(text));
        } catch (const std::exception& e) {
            throw std::runtime_error(path.string() + ": " + e.what());
        }
        launches.back().name = path.stem();
    }
    return launches;
}
