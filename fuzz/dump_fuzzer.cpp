// The reader of dumps, from the text to the launches.
#include <algorithm>

#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/dump/launch_grouping.h"

namespace {

/// Gives the text in pieces whose size its first byte tells.
host::ReadBytes readsOf(std::string_view text) {
    const std::size_t most = text.empty() ? 1 : 1 + static_cast<unsigned char>(text[0]) * 16U;
    return [text, most](char* buffer, std::size_t size) mutable {
        const std::size_t length = text.copy(buffer, std::min(size, most));
        text.remove_prefix(length);
        return length;
    };
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        host::LaunchReader reader(readsOf(text), "dump");
        std::int64_t end = -1;
        while (const std::optional<host::DumpedLaunch> launch = reader.next()) {
            fuzz::require(launch->offset > end || launch->offset == 0);
            end = launch->offset;
            for (const host::Evaluation& evaluation : launch->evaluations)
                fuzz::require(evaluation.samples() <= launch->samples());
        }
    } catch (const host::HostError&) {
        // No dump, and said so.
    }
    return 0;
}
