// What a process shows of itself at one moment.
#include "host/process/process_look.h"

#include <charconv>

#include "host/process/proc_file.h"
#include "host/process/process_tree.h"

namespace host {
namespace {

// The number of the line that starts with `key`. The program's own name stands
// in the first line, with its newlines escaped.
std::optional<std::int64_t> numberOf(std::string_view text, const std::string& key) {
    const std::size_t line = text.find('\n' + key + ":\t");
    if (line == std::string_view::npos) return std::nullopt;
    const std::size_t digits = text.find_first_not_of(" \t", line + key.size() + 2);
    if (digits == std::string_view::npos) return std::nullopt;
    std::int64_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data() + digits, text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    return number;
}

}  // namespace

std::optional<ProcessLook> parseProcessStatus(std::string_view text) {
    const auto pid = numberOf(text, "Tgid");
    const auto parent = numberOf(text, "PPid");
    const auto anonymousKb = numberOf(text, "RssAnon");
    const auto swappedKb = numberOf(text, "VmSwap");
    if (!pid || !parent || !anonymousKb || !swappedKb) return std::nullopt;
    return ProcessLook{
        static_cast<pid_t>(*pid), static_cast<pid_t>(*parent), {}, *anonymousKb + *swappedKb};
}

std::vector<ProcessLook> lookAt(const std::set<pid_t>& processes) {
    std::vector<ProcessLook> looks;
    for (const pid_t process : processes) {
        std::optional<ProcessLook> look = parseProcessStatus(readProcFile(process, "status"));
        if (!look) continue;
        look->name = shownName(process);
        looks.push_back(*std::move(look));
    }
    return looks;
}

}  // namespace host
