// Builds memory series by kind, and the score and descriptor counts after them.
#include "bench/series.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPageKb = 4.0;

// The parts of one launch that chance decides.
struct Plan {
    double window;
    std::size_t samples;
    double settledAt;
    double startKb;
    double settledKb;
    const ChanceRanges& ranges;

    double levelAt(double share) const { return startKb + (settledKb - startKb) * share; }
    double partKb(Random& random) const {
        return random.uniform(ranges.leastPart, ranges.mostPart) * settledKb;
    }
};

using Levels = std::vector<double>;

double settlingShare(LaunchKind kind, const ChanceRanges& ranges, Random& random) {
    switch (kind) {
        case LaunchKind::kLate:
            return random.uniform(0.85, 0.95);
        case LaunchKind::kAfterWindow:
            return random.uniform(1.05, 1.6);
        case LaunchKind::kNever:
            return 2.5;  // behind everything that is recorded
        default:
            return random.uniform(ranges.earliestShare, ranges.latestShare);
    }
}

template <typename Shape>
Levels levelsOf(const Plan& plan, Shape shape) {
    Levels levels(plan.samples);
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i] = shape(static_cast<double>(i));
    return levels;
}

// Growth from the start's level to the settled one in some steps of chance
// size and time, the last of them at the settling time.
class Steps {
public:
    Steps(const Plan& plan, Random& random) : mPlan(plan) {
        const int fewest = plan.ranges.fewestSteps;
        const int count =
            fewest + static_cast<int>(random.uniform(0, plan.ranges.mostSteps - fewest + 1));
        double total = 0.0;
        for (int i = 0; i < count; ++i) {
            const bool isLast = i == count - 1;
            const double size = random.uniform(0.3, 1.0);
            mSteps.push_back({isLast ? plan.settledAt : random.uniform(0, plan.settledAt), size});
            total += size;
        }
        for (Step& step : mSteps)
            step.share /= total;
    }

    double operator()(double sample) const {
        double share = 0.0;
        for (const Step& step : mSteps)
            share += step.time <= sample ? step.share : 0.0;
        return mPlan.levelAt(share);
    }

private:
    struct Step {
        double time;
        double share;
    };
    Plan mPlan;
    std::vector<Step> mSteps;
};

Levels steps(const Plan& plan, Random& random) {
    return levelsOf(plan, Steps(plan, random));
}

Levels ramp(const Plan& plan) {
    return levelsOf(plan, [&](double sample) {
        return plan.levelAt(std::min(1.0, (sample + 1) / (plan.settledAt + 1)));
    });
}

// 1 % of the settled level is missing at the settling time.
Levels exponential(const Plan& plan) {
    const double missing = 1.0 - plan.startKb / plan.settledKb;
    const double timeConstant = plan.settledAt / std::log(100.0 * missing);
    return levelsOf(
        plan, [&](double sample) { return plan.levelAt(1.0 - std::exp(-sample / timeConstant)); });
}

Levels twoPlateaus(const Plan& plan, Random& random) {
    const double restFrom = random.uniform(0.1, 0.4) * plan.settledAt;
    const double restTo = restFrom + random.uniform(0.2, 0.9) * (plan.settledAt - restFrom);
    const double restShare = random.uniform(0.3, 0.8);
    return levelsOf(plan, [&](double sample) {
        if (sample < restFrom) return plan.levelAt(restShare * sample / restFrom);
        if (sample < restTo) return plan.levelAt(restShare);
        const double grown = (sample - restTo) / (plan.settledAt - restTo);
        return plan.levelAt(restShare + (1.0 - restShare) * std::min(1.0, grown));
    });
}

void addNoise(Levels& levels, double share, Random& random) {
    for (double& level : levels)
        level *= 1.0 + share * random.normal();
}

// Each of three collections frees a part at a chance time before the launch
// has settled.
void collectForGood(Levels& levels, const Plan& plan, Random& random) {
    for (int i = 0; i < 3; ++i) {
        const auto from = static_cast<std::size_t>(random.uniform(0.3, 1.0) * plan.settledAt);
        const double partKb = plan.partKb(random);
        for (std::size_t at = from; at < levels.size(); ++at)
            levels[at] -= partKb;
    }
}

// Garbage that grows evenly and is collected every 3 to 12 % of the window.
void addTeeth(Levels& levels, const Plan& plan, Random& random) {
    const double period = std::max(3.0, random.uniform(0.03, 0.12) * plan.window);
    const double heightKb = plan.partKb(random);
    double phase = random.uniform(0, 1);
    for (double& level : levels) {
        level += phase * heightKb;
        phase = std::fmod(phase + 1.0 / period, 1.0);
    }
}

// One to four a window, each of a sample.
void addSpikes(Levels& levels, const Plan& plan, Random& random) {
    const int count = 2 * (1 + static_cast<int>(random.uniform(0, 4)));
    for (int i = 0; i < count; ++i) {
        const double at = random.uniform(0, static_cast<double>(levels.size()));
        levels[static_cast<std::size_t>(at)] += plan.partKb(random);
    }
}

void drift(Levels& levels, const Plan& plan) {
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double since = std::max(0.0, static_cast<double>(i) - plan.settledAt);
        levels[i] *= 1.0 + plan.ranges.driftPerWindow * since / plan.window;
    }
}

Levels memoryKb(LaunchKind kind, Plan& plan, Random& random) {
    const ChanceRanges& ranges = plan.ranges;
    Levels levels;
    switch (kind) {
        case LaunchKind::kRamp:
        case LaunchKind::kNoisyRamp:
        case LaunchKind::kNever:
        case LaunchKind::kCollectorDrops:
        case LaunchKind::kSawTooth:
            levels = ramp(plan);
            addNoise(levels, kind == LaunchKind::kNoisyRamp ? ranges.muchNoise : ranges.littleNoise,
                     random);
            break;
        case LaunchKind::kExponential:
            levels = exponential(plan);
            addNoise(levels, ranges.littleNoise, random);
            break;
        case LaunchKind::kTwoPlateaus:
            levels = twoPlateaus(plan, random);
            break;
        default:
            levels = steps(plan, random);
    }
    if (kind == LaunchKind::kCollectorDrops) collectForGood(levels, plan, random);
    if (kind == LaunchKind::kSawTooth) addTeeth(levels, plan, random);
    if (kind == LaunchKind::kSpikes) addSpikes(levels, plan, random);
    if (kind == LaunchKind::kDrift) drift(levels, plan);
    if (kind == LaunchKind::kStepAfter) {
        plan.settledAt = std::floor(random.uniform(1.05, 1.6) * plan.window);
        const double partKb = plan.partKb(random);
        for (auto i = static_cast<std::size_t>(plan.settledAt); i < levels.size(); ++i)
            levels[i] += partKb;
    }
    return levels;
}

std::int32_t wholePagesKb(double kb) {
    return static_cast<std::int32_t>(std::lround(kb / kPageKb) * static_cast<long>(kPageKb));
}

}  // namespace

double Random::normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i)
        sum += uniform(0.0, 1.0);
    return sum;
}

const char* kindName(LaunchKind kind) {
    switch (kind) {
        case LaunchKind::kSteps:
            return "steps";
        case LaunchKind::kRamp:
            return "ramp, noise 0.2 %";
        case LaunchKind::kNoisyRamp:
            return "ramp, noise 2 %";
        case LaunchKind::kCollectorDrops:
            return "collector drops";
        case LaunchKind::kDrift:
            return "drift after settling";
        case LaunchKind::kLate:
            return "late settling";
        case LaunchKind::kAfterWindow:
            return "settles after the window";
        case LaunchKind::kNever:
            return "never settles";
        case LaunchKind::kExponential:
            return "exponential approach";
        case LaunchKind::kTwoPlateaus:
            return "two plateaus";
        case LaunchKind::kSawTooth:
            return "saw-tooth";
        case LaunchKind::kSpikes:
            return "single spikes";
        case LaunchKind::kStepAfter:
            return "step after the window";
    }
    return "";
}

LabelledLaunch simulateLaunch(LaunchKind kind, std::size_t window, Random& random,
                              const ChanceRanges& ranges) {
    const double startKb = random.uniform(15'000, 60'000);
    const double share = settlingShare(kind, ranges, random);
    Plan plan{static_cast<double>(window),
              2 * window,
              std::floor(share * static_cast<double>(window)),
              startKb,
              startKb * random.uniform(ranges.leastGrowth, ranges.mostGrowth),
              ranges};
    LabelledLaunch launch;
    launch.name = kindName(kind);
    const Levels levels = memoryKb(kind, plan, random);
    if (kind != LaunchKind::kNever) launch.settledAt = plan.settledAt;
    // The score follows the memory's share of a 4 GiB machine, in thousandths,
    // from where the kernel starts it for a foreground process.
    constexpr double kThousandthKb = 4.0 * 1024 * 1024 / 1000;
    const double descriptorsSettledAt = plan.settledAt * random.uniform(0.5, 1.0);
    for (std::size_t i = window; i < levels.size(); ++i)
        launch.laterRssKb.push_back(wholePagesKb(levels[i]));
    for (std::size_t i = 0; i < window; ++i) {
        const double kb = levels[i];
        const auto sample = static_cast<double>(i);
        launch.series[Metric::kVmRss].push_back(wholePagesKb(kb));
        launch.series[Metric::kOomScore].push_back(667 +
                                                   static_cast<std::int32_t>(kb / kThousandthKb));
        const double opened = std::min(1.0, sample / std::max(1.0, descriptorsSettledAt));
        launch.series[Metric::kFdCount].push_back(20 + static_cast<std::int32_t>(180 * opened));
    }
    return launch;
}
