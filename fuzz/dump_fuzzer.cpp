// The readers of dumps, from the text to the launches, and of a note beside one.
#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/dump/launch_grouping.h"
#include "host/dump/launch_note.h"

namespace {

void requireNoteStays(std::string_view line) {
    const auto note = host::parseNoteLine(line);
    if (!note) return;
    const std::string written = host::toJsonLine(*note);
    const auto again = host::parseNoteLine(written);
    fuzz::require(again && host::toJsonLine(*again) == written);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    requireNoteStays(text);
    try {
        host::LaunchReader reader(fuzz::readsOf(text), "dump");
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
