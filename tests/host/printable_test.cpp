// Text from outside, as the host prints it.
#include "host/base/printable.h"

#include <cstring>
#include <gtest/gtest.h>

#include "host/base/json_text.h"

namespace host {
namespace {

TEST(PrintableTest, HostileTextBecomesOneValidLine) {
    EXPECT_EQ(printable("a\nb\x1b[1m\x7f"), "a?b?[1m?");
    EXPECT_EQ(printable("\xc3\xbc \xf0\x9f\x9a\x80"), "\xc3\xbc \xf0\x9f\x9a\x80");
    const std::string three(3, '?');
    EXPECT_EQ(printable("\xc3(\xe2\x80\xae|\xed\xa0\x80)\xff\xc0\xaf"),
              "?(" + three + "|" + three + ")" + three);
    for (const char* unseen : {u8"\u061c", u8"\u200f", u8"\u2066", u8"\ufeff", u8"\U000e0041"})
        EXPECT_EQ(printable(unseen), std::string(std::strlen(unseen), '?'));
    EXPECT_EQ(printable("ab\xc3\xbc", 3), "ab...") << "no character is cut in two";
}

TEST(JsonLineTest, WhatATerminalMightObeyIsEscapedAndReadsTheSame) {
    const std::string name = "a\x1b[2J\x07\x7f\xc2\x9b\xe2\x80\xae";
    const std::string line = jsonLine(name);
    EXPECT_EQ(printable(line.substr(0, line.size() - 1)) + '\n', line);
    EXPECT_EQ(line.find('\x7f'), std::string::npos);
    EXPECT_EQ(Json::parse(line), name);
}

}  // namespace
}  // namespace host
