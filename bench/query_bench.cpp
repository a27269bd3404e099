// The final-endpoint query, cached and from the table, beside one raw point read.
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/raw_store.h"
#include "bench/topics.h"
#include "feature/orvo.h"
#include "framework/tavodb/schema.h"
#include "host/root/scratch_folder.h"

// Fills the cache as if the process had learned the packages itself.
class OrvoDBlayerPeer {
public:
    static void cache(const std::string& name, std::int32_t endpointMs) {
        const std::lock_guard<std::mutex> lock(OrvoDBlayer::mOrvoDB.mFinalEpCacheMutex);
        OrvoDBlayer::mOrvoDB.mFinalEpCache[name] = endpointMs;
    }
};

namespace {

constexpr AppStatus kLearned{1, {}, 6};
constexpr std::size_t kFewPackages = 100;
constexpr std::size_t kManyPackages = 1'000'000;

// Learned packages in a database that both sides read.
class LearnedPackages {
public:
    explicit LearnedPackages(std::size_t count)
        : mNames(packageNames(count)), mRaw(mFolder.path() + "/tavo.db") {
        mRaw.addPackages(mNames, kLearned);
        setenv("TAVO_DB_PATH", (mFolder.path() + "/tavo.db").c_str(), 1);
        if (OrvoDBlayer::mOrvoDB.Init() != 0) throw std::runtime_error("the store does not open");
    }
    ~LearnedPackages() { OrvoDBlayer::mOrvoDB.DeInit(); }

    // As if all had been learned since the process started.
    void cacheAll() {
        for (std::size_t i = 0; i < mNames.size(); ++i)
            OrvoDBlayerPeer::cache(mNames[i], endpointOf(i));
    }

    std::vector<std::string>& names() { return mNames; }
    const RawStore& raw() const { return mRaw; }

private:
    host::ScratchFolder mFolder;
    std::vector<std::string> mNames;
    RawStore mRaw;
};

// Times `query`, a function of a package's name, on packages in no order;
// `truth` says what it must return for the package's index.
template <typename Query, typename Truth>
void timeQueries(Session& session, const std::string& name, std::vector<std::string>& names,
                 Query query, Truth truth) {
    session.add(name, [&names, query, truth](benchmark::State& state) {
        std::uint32_t seed = 12345;
        for (auto _ : state) {
            seed = seed * 1664525 + 1013904223;
            const std::size_t index = static_cast<std::uint64_t>(seed) * names.size() >> 32;
            if (query(names[index]) == truth(index)) continue;
            state.SkipWithError("another value than the one stored");
            break;
        }
    });
}

// Names a benchmark, and its baseline of the same run.
std::string named(const std::string& way, std::size_t count, const char* who) {
    return way + "/" + std::to_string(count) + "/" + who;
}

void benchWay(Session& session, LearnedPackages& packages, const std::string& way) {
    const std::size_t count = packages.names().size();
    RawStatement select(packages.raw().handle(), tavodb::selectSql("OrvoStatus"));
    timeQueries(
        session, named(way, count, "library"), packages.names(),
        [](std::string& name) { return getData(ORVO_GET_FINAL_ENDPOINT, name); }, endpointOf);
    timeQueries(
        session, named(way, count, "raw"), packages.names(),
        [&select](std::string& name) {
            AppStatus status;
            select.bind(1, name);
            return select.read(&status, sizeof(status)) ? status.launchCount : -1;
        },
        [](std::size_t) { return kLearned.launchCount; });
    session.run();
}

constexpr char kRawRead[] = "one raw held point read (the status row)";

void addRow(Session& session, const std::string& way, std::size_t count, double limit) {
    session.table().atMost(
        "final-endpoint query, " + way + ", " + std::to_string(count) + " packages", kRawRead,
        session.ratio(named(way, count, "library"), named(way, count, "raw")), limit, "times");
}

void benchPackages(Session& session, std::size_t count) {
    LearnedPackages packages(count);
    benchWay(session, packages, "from the table");
    packages.cacheAll();
    benchWay(session, packages, "cached");
    addRow(session, "cached", count, 1.3);
    addRow(session, "from the table", count, 2.4);
}

double growth(const Session& session, const std::string& way, const char* who) {
    return session.ratio(named(way, kManyPackages, who), named(way, kFewPackages, who));
}

}  // namespace

void benchQuery(const Effort& effort, Table& table) {
    Session session("query", effort, table);
    for (const std::size_t count : {kFewPackages, std::size_t{10'000}, kManyPackages})
        benchPackages(session, count);
    for (const char* way : {"cached", "from the table"}) {
        table.atMost(std::string("final-endpoint query, ") + way + ": growth to 1000000 packages",
                     "the raw read's growth",
                     growth(session, way, "library") / growth(session, way, "raw"), 1, "times");
    }
}
