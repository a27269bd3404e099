// Bottom-up segmentation; each piece carries its moments, which add up.
#include "host/verdict/segments.h"

#include <cmath>
#include <functional>
#include <queue>
#include <tuple>

namespace host {
namespace {

// Sums of a piece around its own means, so that large values keep their digits.
struct Moments {
    double count = 0;
    double time = 0;   // mean
    double value = 0;  // mean
    double timeTime = 0;
    double timeValue = 0;
    double valueValue = 0;

    double slope() const { return timeTime > 0 ? timeValue / timeTime : 0.0; }
    // What the best line leaves of the squared deviations.
    double residue() const { return std::fmax(0.0, valueValue - slope() * timeValue); }
    double at(double when) const { return value + slope() * (when - time); }
};

Moments ofSample(std::size_t at, double value) {
    return {1, static_cast<double>(at), value, 0, 0, 0};
}

Moments together(const Moments& a, const Moments& b) {
    const double count = a.count + b.count;
    const double weight = a.count * b.count / count;
    const double time = b.time - a.time;
    const double value = b.value - a.value;
    return {count,
            a.time + time * b.count / count,
            a.value + value * b.count / count,
            a.timeTime + b.timeTime + weight * time * time,
            a.timeValue + b.timeValue + weight * time * value,
            a.valueValue + b.valueValue + weight * value * value};
}

// Pieces side by side, of which two neighbours can become one.
class Pieces {
public:
    explicit Pieces(const Levels& series) {
        for (std::size_t i = 0; i < series.size(); i += 2) {
            Moments moments = ofSample(i, series[i]);
            if (i + 1 < series.size()) moments = together(moments, ofSample(i + 1, series[i + 1]));
            mNodes.push_back({moments, mNodes.size() - 1, mNodes.size() + 1, 0, true});
        }
        for (std::size_t i = 0; i < mNodes.size(); ++i)
            offer(i);
    }

    void mergeUpTo(double price) {
        while (!mOffers.empty() && std::get<0>(mOffers.top()) <= price) {
            const auto [cost, left, leftVersion, rightVersion] = mOffers.top();
            mOffers.pop();
            const Node& node = mNodes[left];
            if (!node.isThere || node.version != leftVersion || node.next >= mNodes.size() ||
                mNodes[node.next].version != rightVersion)
                continue;
            merge(left);
        }
    }

    std::vector<Moments> remaining() const {
        std::vector<Moments> pieces;
        for (std::size_t i = 0; i < mNodes.size(); i = mNodes[i].next)
            pieces.push_back(mNodes[i].moments);
        return pieces;
    }

private:
    struct Node {
        Moments moments;
        std::size_t previous;
        std::size_t next;
        int version;  // offers made before a merger are void
        bool isThere;
    };
    using Offer = std::tuple<double, std::size_t, int, int>;  // cost, left, both versions

    void offer(std::size_t left) {
        if (left >= mNodes.size() || mNodes[left].next >= mNodes.size()) return;
        const Node& a = mNodes[left];
        const Node& b = mNodes[a.next];
        const double cost =
            together(a.moments, b.moments).residue() - a.moments.residue() - b.moments.residue();
        mOffers.emplace(cost, left, a.version, b.version);
    }

    void merge(std::size_t left) {
        Node& a = mNodes[left];
        Node& b = mNodes[a.next];
        a.moments = together(a.moments, b.moments);
        ++a.version;
        b.isThere = false;
        a.next = b.next;
        if (a.next < mNodes.size()) mNodes[a.next].previous = left;
        offer(a.previous);
        offer(left);
    }

    std::vector<Node> mNodes;
    std::priority_queue<Offer, std::vector<Offer>, std::greater<>> mOffers;
};

std::vector<Segment> linesOf(const std::vector<Moments>& pieces) {
    std::vector<Segment> lines;
    std::size_t begin = 0;
    for (const Moments& piece : pieces) {
        const std::size_t end = begin + static_cast<std::size_t>(piece.count);
        lines.push_back({begin, end, piece.at(static_cast<double>(begin)),
                         piece.at(static_cast<double>(end - 1))});
        begin = end;
    }
    return lines;
}

}  // namespace

std::vector<Segment> straightPieces(const Levels& series, double noise) {
    // A line's two, where it begins, and one for having been picked as the best
    // of many places and lengths, which the criterion does not reckon with.
    constexpr double kNumbersSaved = 4;
    const double price = kNumbersSaved * noise * noise *
                         std::log(std::fmax(2.0, static_cast<double>(series.size())));
    Pieces merging(series);
    merging.mergeUpTo(price);
    return linesOf(merging.remaining());
}

Levels valuesOf(const std::vector<Segment>& pieces) {
    Levels values;
    for (const Segment& piece : pieces) {
        for (std::size_t i = 0; i < piece.samples(); ++i)
            values.push_back(piece.first + piece.slope() * static_cast<double>(i));
    }
    return values;
}

}  // namespace host
