// The library as its host sees it: operations of the two functions with names.
#include "host/library/orvo_library.h"

#include <cstdlib>
#include <cstring>

#include "feature/orvo.h"
#include "framework/tavodb/key_alias.h"
#include "host/base/exit_code.h"
#include "host/base/regular_file.h"
#include "host/library/log_messages.h"
#include "host/state/store_holder.h"
#include "host/state/store_reader.h"
#include "platform/tavo_log.h"

namespace host {
namespace {

// The initialise operation succeeds without a store; only its log says so.
bool initialise(const LibraryFile& library, LogSink& log, bool& storeOpened) {
    storeOpened = true;
    log.setListener([&](const LogLine& line) {
        if (startsWith(line.message, log::kTableNotOpened)) storeOpened = false;
    });
    std::string noPackage;
    const bool started = library.set(ORVO_SET_INIT, noPackage, nullptr) == 0;
    log.setListener({});
    return started;
}

void shutDown(const LibraryFile& library) {
    std::string noPackage;
    library.set(ORVO_SET_DEINIT, noPackage, nullptr);
}

}  // namespace

LibraryFile loadLibrary(const LibraryOptions& options) {
    if (options.file && options.file->empty()) throw HostError(kUsage, "the --library is empty");
    return LibraryFile(options.file.value_or(ownLibraryFile()));
}

OrvoLibrary::OrvoLibrary(const LibraryOptions& options, const StateFolder& state, LogSink& log)
    : mFile(loadLibrary(options)) {
    refuseUnlessDatabaseFiles(state.database());
    refuseUnlessRegular(state.properties());
    state.removeDumpProperty();
    setenv("TAVO_DB_PATH", state.database().c_str(), 1);
    setenv("TAVO_PROPERTIES", state.properties().c_str(), 1);
    setTavoLogLevel(options.logLevel);
    bool storeOpened = false;
    if (!initialise(mFile, log, storeOpened)) {
        throw HostError(kEnvironment,
                        "the learning thread cannot be started: free some memory or "
                        "raise the limit of processes (ulimit -u)");
    }
    if (!storeOpened) {
        shutDown(mFile);
        throw HostError(kEnvironment,
                        "the store " + state.database() + " does not open: " +
                            describeStoreFault(log.lastDatabaseError(), state.database(),
                                               "repair or move it, or choose another "
                                               "with --state"));
    }
}

OrvoLibrary::~OrvoLibrary() {
    shutDown(mFile);
}

// The library caches only what it has written itself, under the shown name; all else
// is read from the store, under either name.
void OrvoLibrary::keepUnder(const std::string& package, const std::string& shownName) {
    setTavoDbKeyAlias(shownName, package);
}

void OrvoLibrary::launch(std::string package, std::int32_t type, std::int32_t subtype) {
    std::int32_t message[2] = {type, subtype};
    mFile.set(ORVO_SET_LAUNCH, package, message);
}

void OrvoLibrary::stop(std::string package) {
    mFile.set(ORVO_SET_STOP, package, nullptr);
}

void OrvoLibrary::erase(std::string package) {
    mFile.set(ORVO_SET_ERASE, package, nullptr);
}

void OrvoLibrary::sendFdCounts(std::string package, const std::vector<std::int32_t>& counts) {
    constexpr std::size_t kEntriesOffset = 4;
    const auto count = static_cast<std::uint16_t>(counts.size());
    std::vector<char> message(kEntriesOffset + count * sizeof(std::int32_t));
    std::memcpy(message.data(), &count, sizeof count);
    std::memcpy(message.data() + kEntriesOffset, counts.data(), count * sizeof(std::int32_t));
    mFile.set(ORVO_SET_FD_INFO, package, message.data());
}

std::int32_t OrvoLibrary::pid(std::string package) {
    return mFile.get(ORVO_GET_PID, package);
}

std::int32_t OrvoLibrary::finalEndpointMs(std::string package) {
    return mFile.get(ORVO_GET_FINAL_ENDPOINT, package);
}

}  // namespace host
