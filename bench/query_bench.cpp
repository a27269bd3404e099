// The final-endpoint query, cached and from the table, beside one raw point read.
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/raw_store.h"
#include "bench/topics.h"
#include "feature/orvo.h"
#include "framework/tavodb/schema.h"

/// Fills the cache as if the process had learned the packages itself.
class OrvoDBlayerPeer {
public:
    static void cache(const std::string& name, std::int32_t endpointMs) {
        const std::lock_guard<std::mutex> lock(OrvoDBlayer::mOrvoDB.mFinalEpCacheMutex);
        OrvoDBlayer::mOrvoDB.mFinalEpCache[name] = endpointMs;
    }
};

namespace {

constexpr AppStatus kLearned{1, {}, 6};

/// Learned packages in a database that both sides read. Those with an even
/// index were learned in this process's life and so are cached too.
class LearnedPackages {
public:
    explicit LearnedPackages(std::size_t count)
        : mNames(packageNames(count)), mRaw(mFolder.file("tavo.db")) {
        mRaw.addPackages(mNames, kLearned);
        setenv("TAVO_DB_PATH", mFolder.file("tavo.db").c_str(), 1);
        if (OrvoDBlayer::mOrvoDB.Init() != 0) throw std::runtime_error("the store does not open");
        for (std::size_t i = 0; i < count; i += 2)
            OrvoDBlayerPeer::cache(mNames[i], endpointOf(i));
    }
    ~LearnedPackages() { OrvoDBlayer::mOrvoDB.DeInit(); }

    std::vector<std::string>& names() { return mNames; }
    const RawStore& raw() const { return mRaw; }

private:
    ScratchFolder mFolder;
    std::vector<std::string> mNames;
    RawStore mRaw;
};

/// Times `query`, a function of a package's name, on packages of one parity in
/// no order; `truth` tells what it must return from the package's index.
template <typename Query, typename Truth>
void timeQueries(Session& session, const std::string& name, std::vector<std::string>& names,
                 std::size_t parity, Query query, Truth truth) {
    session.add(name, [&names, parity, query, truth](benchmark::State& state) {
        std::uint32_t seed = 12345;
        const std::size_t pairs = names.size() / 2;
        for (auto _ : state) {
            seed = seed * 1664525 + 1013904223;
            const std::size_t index = (static_cast<std::uint64_t>(seed) * pairs >> 32) * 2 + parity;
            if (query(names[index]) == truth(index)) continue;
            state.SkipWithError("another value than the one stored");
            break;
        }
    });
}

void benchPackages(Session& session, std::size_t count) {
    LearnedPackages packages(count);
    RawStatement select(packages.raw().handle(), tavodb::selectSql("OrvoStatus"));
    const auto ask = [](std::string& name) { return getData(ORVO_GET_FINAL_ENDPOINT, name); };
    const auto readRaw = [&select](std::string& name) {
        AppStatus status;
        select.bind(1, name);
        return select.read(&status, sizeof(status)) ? status.launchCount : -1;
    };
    const std::string suffix = "/" + std::to_string(count);
    timeQueries(session, "cached" + suffix, packages.names(), 0, ask, endpointOf);
    timeQueries(session, "table" + suffix, packages.names(), 1, ask, endpointOf);
    timeQueries(session, "raw" + suffix, packages.names(), 1, readRaw,
                [](std::size_t) { return kLearned.launchCount; });
    session.run();

    const std::string raw = "one raw held point read (the status row)";
    const std::string of = ", " + std::to_string(count) + " packages";
    session.table().atMost("final-endpoint query, cached" + of, raw,
                           session.ratio("cached" + suffix, "raw" + suffix), 1.3, "times");
    session.table().atMost("final-endpoint query, from the table" + of, raw,
                           session.ratio("table" + suffix, "raw" + suffix), 2.4, "times");
}

}  // namespace

void benchQuery(const Effort& effort, Table& table) {
    Session session("query", effort, table);
    for (const std::size_t count : {100U, 10'000U, 1'000'000U})
        benchPackages(session, count);
    for (const char* way : {"cached", "table"}) {
        const auto growth = [&session](const std::string& name) {
            return session.ratio(name + "/1000000", name + "/100");
        };
        table.atMost(std::string("final-endpoint query, ") + way + ": growth to 1000000 packages",
                     "the raw read's growth", growth(way) / growth("raw"), 1, "times");
    }
}
