// Text in a page.
#include "host/report/html.h"

#include "host/base/printable.h"

namespace host {
namespace {

const char* entityOf(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return nullptr;
    }
}

}  // namespace

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (const char* const entity = entityOf(c)) {
            result += entity;
        } else {
            result += c;
        }
    }
    return result;
}

std::string htmlText(const std::string& text) {
    return escaped(printable(text));
}

}  // namespace host
