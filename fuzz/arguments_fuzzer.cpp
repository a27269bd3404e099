// The parser of orvo-host's arguments, which a NUL divides in the input.
#include <iostream>
#include <sstream>

#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/verbs/verbs.h"

namespace {

std::vector<std::string> programOf(const std::string& text) {
    std::vector<std::string> program{"orvo-host"};
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, '\0');)
        program.push_back(word);
    return program;
}

// True for the line that a person needs; only the arguments' own lines may break it.
bool isHelpful(const std::string& complaint, const std::string& text) {
    const auto has = [&](const char* words) { return complaint.find(words) != std::string::npos; };
    const bool isOneLine = !has("\n") || text.find('\n') != std::string::npos;
    return isOneLine && (has("; see orvo-host ") || has("; did you mean '"));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    std::cout.rdbuf(nullptr);  // helps are many and long
    host::Invocation invocation(programOf(text));
    try {
        const std::optional<int> answered = host::parse(invocation);
        fuzz::require(!answered || answered == host::kDone);
    } catch (const host::HostError& error) {
        fuzz::require(error.code() == host::kUsage && isHelpful(error.what(), text));
    }
    return 0;
}
