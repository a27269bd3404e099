// Reads recorded launches.
#include "bench/recording.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace {

constexpr std::size_t kNoWindow = std::numeric_limits<std::size_t>::max();

// What the comments at a recording's top say.
struct Label {
    std::optional<double> settledAt;
    std::size_t window = kNoWindow;

    void read(const std::string& comment) {
        double sample = 0;
        std::size_t samples = 0;
        if (std::sscanf(comment.c_str(), "# settled at sample %lf", &sample) == 1)
            settledAt = sample;
        if (comment == "# never settles") settledAt = LabelledLaunch::kNeverSettles;
        if (std::sscanf(comment.c_str(), "# window %zu", &samples) == 1) window = samples;
    }
};

void addSample(const std::string& line, std::size_t window, LabelledLaunch& launch) {
    std::istringstream numbers(line);
    std::int32_t memoryKb = 0;
    std::int32_t score = 0;
    std::int32_t descriptors = 0;
    if (!(numbers >> memoryKb >> score >> descriptors))
        throw std::runtime_error("not three numbers: " + line);
    if (launch.series[Metric::kVmRss].size() == window) {
        launch.laterRssKb.push_back(memoryKb);
        return;
    }
    launch.series[Metric::kVmRss].push_back(memoryKb);
    launch.series[Metric::kOomScore].push_back(score);
    launch.series[Metric::kFdCount].push_back(descriptors);
}

LabelledLaunch parseRecording(std::istream& text) {
    LabelledLaunch launch;
    Label label;
    std::string line;
    while (std::getline(text, line)) {
        if (line.empty()) continue;
        if (line[0] == '#') {
            label.read(line);
        } else {
            addSample(line, label.window, launch);
        }
    }
    if (!label.settledAt || launch.series[Metric::kVmRss].empty())
        throw std::runtime_error("no label or no samples");
    launch.settledAt = *label.settledAt;
    return launch;
}

}  // namespace

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
