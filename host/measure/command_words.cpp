// A command in one string, taken apart.
#include "host/measure/command_words.h"

#include <string_view>

#include "host/base/exit_code.h"

namespace host {
namespace {

constexpr std::string_view kBlanks = " \t\n";
constexpr std::string_view kOnlyForShells = "|&;<>()$`";
constexpr std::string_view kEscapedInQuotes = "\"\\$`";

bool isOneOf(std::string_view characters, char c) {
    return characters.find(c) != std::string_view::npos;
}

class WordReader {
public:
    WordReader(std::string_view text, const std::string& name) : mRest(text), mName(name) {}

    std::vector<std::string> read() {
        std::vector<std::string> words;
        while (skipBlanks())
            words.push_back(word());
        if (words.empty()) fail("holds no command");
        return words;
    }

private:
    bool skipBlanks() {
        while (!mRest.empty() && isOneOf(kBlanks, mRest.front()))
            mRest.remove_prefix(1);
        return !mRest.empty();
    }

    std::string word() {
        std::string word;
        while (!mRest.empty() && !isOneOf(kBlanks, mRest.front())) {
            const char c = take();
            if (c == '\'' || c == '"') {
                word += quoted(c);
            } else if (c == '\\') {
                word += escaped();
            } else if (isOneOf(kOnlyForShells, c)) {
                fail(std::string("holds ") + c +
                     ", which only a shell understands; quote it, or "
                     "give a script");
            } else {
                word += c;
            }
        }
        return word;
    }

    std::string quoted(char quote) {
        std::string text;
        while (!mRest.empty()) {
            const char c = take();
            if (c == quote) return text;
            const bool escapes = quote == '"' && c == '\\' && !mRest.empty() &&
                                 isOneOf(kEscapedInQuotes, mRest.front());
            text += escapes ? take() : c;
        }
        fail(std::string("holds a ") + quote + " that is not closed");
    }

    char escaped() {
        if (mRest.empty()) fail("ends in a backslash with nothing after it");
        return take();
    }

    char take() {
        const char c = mRest.front();
        mRest.remove_prefix(1);
        return c;
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw HostError(kUsage, mName + ' ' + what);
    }

    std::string_view mRest;
    const std::string& mName;
};

}  // namespace

std::vector<std::string> commandWords(const std::string& text, const std::string& name) {
    return WordReader(text, name).read();
}

}  // namespace host
