// Builds memory series by kind, and the score and descriptor counts after them.
#include "bench/series.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPageKb = 4.0;

/// The parts of one launch that chance decides.
struct Plan {
    double samples;
    double settledAt;
    double startKb;
    double settledKb;
};

double settlingShare(LaunchKind kind, Random& random) {
    switch (kind) {
        case LaunchKind::kLate:
            return random.uniform(0.85, 0.95);
        case LaunchKind::kAfterWindow:
            return random.uniform(1.05, 1.6);
        default:
            return random.uniform(0.15, 0.7);
    }
}

/// Growth from the start's level to the settled one in some steps of chance
/// size and time, the last of them at the settling time.
class Steps {
public:
    Steps(const Plan& plan, Random& random) : mPlan(plan) {
        const int count = 3 + static_cast<int>(random.uniform(0, 8));
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

    double at(double sample) const {
        double share = 0.0;
        for (const Step& step : mSteps)
            share += step.time <= sample ? step.share : 0.0;
        return mPlan.startKb + (mPlan.settledKb - mPlan.startKb) * share;
    }

private:
    struct Step {
        double time;
        double share;
    };
    Plan mPlan;
    std::vector<Step> mSteps;
};

double rampAt(const Plan& plan, double sample) {
    const double share = std::min(1.0, (sample + 1) / (plan.settledAt + 1));
    return plan.startKb + (plan.settledKb - plan.startKb) * share;
}

/// What collections have freed by this sample; each falls on a chance time
/// before the launch has settled.
std::vector<double> collectedKb(const Plan& plan, Random& random) {
    std::vector<double> freed(static_cast<std::size_t>(plan.samples), 0.0);
    for (int i = 0; i < 3; ++i) {
        const auto from = static_cast<std::size_t>(random.uniform(0.3, 1.0) * plan.settledAt);
        const double partKb = random.uniform(0.03, 0.12) * plan.settledKb;
        for (std::size_t at = from; at < freed.size(); ++at)
            freed[at] += partKb;
    }
    return freed;
}

std::vector<double> memoryKb(LaunchKind kind, const Plan& plan, Random& random) {
    const bool isRamp = kind == LaunchKind::kRamp || kind == LaunchKind::kNoisyRamp ||
                        kind == LaunchKind::kCollectorDrops || kind == LaunchKind::kNever;
    const double noise = kind == LaunchKind::kNoisyRamp ? 0.02 : isRamp ? 0.002 : 0.0;
    const Steps steps(plan, random);
    std::vector<double> level(static_cast<std::size_t>(plan.samples));
    for (std::size_t i = 0; i < level.size(); ++i) {
        const auto sample = static_cast<double>(i);
        const double value = isRamp ? rampAt(plan, sample) : steps.at(sample);
        level[i] = value * (1.0 + noise * random.normal());
    }
    if (kind == LaunchKind::kCollectorDrops) {
        const std::vector<double> freed = collectedKb(plan, random);
        for (std::size_t i = 0; i < level.size(); ++i)
            level[i] -= freed[i];
    }
    if (kind == LaunchKind::kDrift) {
        // 5 % over the whole window, after settling.
        for (std::size_t i = 0; i < level.size(); ++i)
            level[i] *=
                1.0 + 0.05 * std::max(0.0, static_cast<double>(i) - plan.settledAt) / plan.samples;
    }
    return level;
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
    }
    return "";
}

LabelledLaunch simulateLaunch(LaunchKind kind, std::size_t samples, Random& random) {
    const bool never = kind == LaunchKind::kNever;
    const auto window = static_cast<double>(samples);
    const double startKb = random.uniform(15'000, 60'000);
    const double share = never ? 1.5 : settlingShare(kind, random);
    const Plan plan{window, std::floor(share * window), startKb,
                    startKb * random.uniform(2.0, 6.0)};
    LabelledLaunch launch;
    launch.name = kindName(kind);
    if (!never) launch.settledAt = plan.settledAt;
    // The score follows the memory's share of a 4 GiB machine, in thousandths,
    // from where the kernel starts it for a foreground process.
    constexpr double kThousandthKb = 4.0 * 1024 * 1024 / 1000;
    const double descriptorsSettledAt = plan.settledAt * random.uniform(0.5, 1.0);
    for (const double kb : memoryKb(kind, plan, random)) {
        const auto sample = static_cast<double>(launch.series.vmRssKb.size());
        launch.series.vmRssKb.push_back(wholePagesKb(kb));
        launch.series.oomScore.push_back(667 + static_cast<std::int32_t>(kb / kThousandthKb));
        const double opened = std::min(1.0, sample / std::max(1.0, descriptorsSettledAt));
        launch.series.fdCount.push_back(20 + static_cast<std::int32_t>(180 * opened));
    }
    return launch;
}
