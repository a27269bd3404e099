// The reader of the store's file and its log. The first byte gives the file's
// size in pages of 512 bytes; what follows it is the log.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/state/package_report.h"
#include "tests/framework/temp_folder.h"

namespace {

constexpr std::size_t kPageSize = 512;

void write(const std::string& path, std::string_view bytes) {
    std::ofstream file(path);
    file << bytes << std::flush;
    fuzz::require(file.good());
}

// The store's file of these bytes.
std::string storeOf(std::string_view bytes) {
    static const TempFolder folder;
    std::string path = folder / "orvo.db";
    const std::size_t pages = bytes.empty() ? 0 : static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 1));
    const std::string_view log = bytes.substr(std::min(pages * kPageSize, bytes.size()));
    write(path, bytes.substr(0, bytes.size() - log.size()));
    write(path + "-wal", log);
    std::filesystem::remove(path + "-shm");
    return path;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = storeOf({reinterpret_cast<const char*>(data), size});
    try {
        const std::vector<host::StoredPackage> packages = host::StoreReader(path).packages();
        for (const host::StoredPackage& package : packages)
            fuzz::require(host::StoreReader(path).package(package.name).name == package.name);
        host::renderJson(packages, {}, {});
        host::renderText(packages, {}, {});
    } catch (const host::HostError& error) {
        fuzz::require(error.code() == host::kEnvironment);
    }
    return 0;
}
