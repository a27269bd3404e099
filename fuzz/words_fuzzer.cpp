// Words that come in one text: a command's, and the kernel's about a machine.
#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/base/prefix.h"
#include "host/base/printable.h"
#include "host/measure/command_words.h"
#include "host/measure/machine.h"

namespace {

const std::string kOption = "--against";

std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "' ";
}

void requireWords(const std::string& text) {
    std::vector<std::string> words;
    try {
        words = host::commandWords(text, kOption);
    } catch (const host::HostError& error) {
        const std::string told = error.what();
        fuzz::require(error.code() == host::kUsage && host::printable(told) == told);
        fuzz::require(host::startsWith(told, kOption + ' '));
        return;
    }
    std::string joined;
    for (const std::string& word : words)
        joined += quoted(word);
    fuzz::require(!words.empty() && host::commandWords(joined, kOption) == words);
}

// The input's first word is looked for, in all of it and behind a line that has it.
void requireValue(const std::string& text) {
    const std::string name = text.substr(0, text.find_first_of(" \t\n:"));
    const std::string value = host::valueOf(text, name);
    fuzz::require(value.find('\n') == std::string::npos);
    fuzz::require(text.find(value) != std::string::npos);
    fuzz::require(host::valueOf(name + "\t: a: b\n" + text, name) == "a: b");
    fuzz::require(host::valueOf("no colon\n" + text, name) == value);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    requireWords(text);
    requireValue(text);
    return 0;
}
