// The property store, the log level, the float product, and whose environment counts.
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>

#include "platform/sec_float.h"
#include "platform/tavo_config.h"
#include "platform/tavo_log.h"
#include "tests/framework/temp_folder.h"

namespace {

// The value of "a.b", cut to 15 bytes; "-" when absent.
std::string property() {
    std::array<char, 16> value{"-"};
    const auto read = TavoConfigDataStore::mTavoStorage.GetProperty("a.b", value.data(), 16);
    EXPECT_EQ(read != 0, value[0] != '-');
    return value.data();
}

TEST(Properties, LinesAreReadAsDocumented) {
    const TempFolder folder;
    const std::string path = folder / "properties";
    setenv("TAVO_PROPERTIES", path.c_str(), 1);
    EXPECT_EQ(property(), "-");
    const std::pair<const char*, const char*> kCases[] = {
        {"a.b=true", "true"},
        {"# a.b=false\n\n \t a.b \t=\t true\r\n", "true"},
        {"a.b=true \n", "true "},
        {"a.b=1\na.b=2\n", "2"},
        {"a.b=x=y # z\n", "x=y # z"},
        {"a.b=123456789012345678\n", "123456789012345"},
        {"a.bc=1\na=2\nxa.b=3\nA.B=4\na.b\n=5\n", "-"},
        {"a.b=\n", "-"},
    };
    for (const auto& [text, value] : kCases) {
        std::ofstream(path) << text;
        EXPECT_EQ(property(), value) << text;
    }
    std::ofstream(path) << "#a=1\na.b=2";
    char value = '-';
    EXPECT_EQ(TavoConfigDataStore::mTavoStorage.GetProperty("a.b", &value, 0), 0);
    EXPECT_EQ(TavoConfigDataStore::mTavoStorage.GetProperty("#a", &value, 1), 0);
    EXPECT_EQ(value, '-');
    unsetenv("TAVO_PROPERTIES");
    EXPECT_EQ(property(), "-");
}

// What tests/framework/print_settings.cpp prints when `starter` runs it with these.
std::string settingsOfProcess(const std::string& starter, const std::string& variables) {
    const std::string command =
        starter + " env -i " + variables + " " PRINT_SETTINGS " 2>/dev/null";
    FILE* output = popen(command.c_str(), "r");
    std::array<char, 256> text{};
    if (output && std::fread(text.data(), 1, text.size() - 1, output) == 0) text[0] = '-';
    if (output) pclose(output);
    return text.data();
}

TEST(LogLevel, StartsWithTheEnvironmentsNumberAndElseWithZero) {
    EXPECT_EQ(settingsOfProcess("", ""), "0,,");
    EXPECT_EQ(settingsOfProcess("", "TAVO_LOG_LEVEL=4294967295"), "4294967295,,");
    for (const char* garbage : {"''", "4x", "-1", "' 4'", "4294967296"})
        EXPECT_EQ(settingsOfProcess("", std::string("TAVO_LOG_LEVEL=") + garbage), "0,,");
}

TEST(FloatProduct, IsTheProduct) {
    EXPECT_EQ(SecFloat::Multiply(0.3F, 100.0F), 0.3F * 100.0F);
}

TEST(Environment, PrivilegedProcessTakesNothingFromIt) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can start a process under two user ids";
    const TempFolder folder;
    const std::string path = folder / "properties";
    std::ofstream(path) << "a.b=yes";
    const std::string variables =
        "TAVO_LOG_LEVEL=4 TAVO_PROPERTIES=" + path + " TAVO_DB_PATH=" + path;
    EXPECT_EQ(settingsOfProcess("", variables), "4,yes," + path);
    EXPECT_EQ(settingsOfProcess("setpriv --ruid 65534", variables), "0,,");
}

}  // namespace
