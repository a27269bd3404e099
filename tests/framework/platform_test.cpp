// The property store, the log level and the float product.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "platform/sec_float.h"
#include "platform/tavo_config.h"
#include "platform/tavo_log.h"

namespace {

// The value of "a.b" for a property file with this text; "-" when absent.
std::string propertyIn(const std::string& text) {
    const std::string path = testing::TempDir() + "properties." + std::to_string(getpid());
    std::ofstream(path) << text;
    setenv("TAVO_PROPERTIES", path.c_str(), 1);
    char value[16] = "-";
    const int read = TavoConfigDataStore::mTavoStorage.GetProperty("a.b", value, sizeof value);
    std::remove(path.c_str());
    EXPECT_EQ(read != 0, std::string(value) != "-") << text;
    return value;
}

TEST(Properties, LinesAreReadAsDocumented) {
    const struct {
        const char* text;
        const char* value;
    } kCases[] = {
        {"a.b=true\n", "true"},
        {"a.b=true", "true"},
        {"# a.b=false\n\n \t a.b \t=\t true \r\n", "true"},
        {"a.b=1\na.b=2\n", "2"},
        {"a.b=x=y # z\n", "x=y # z"},
        {"a.b=123456789012345678\n", "123456789012345"},
        {"a.bc=1\na=2\nxa.b=3\nA.B=4\na.b\n=5\n", "-"},
        {"a.b=\n", "-"},
        {"", "-"},
    };
    for (const auto& c : kCases)
        EXPECT_EQ(propertyIn(c.text), c.value) << c.text;
}

TEST(Properties, MissingFileAndBadBufferReadNothing) {
    auto& store = TavoConfigDataStore::mTavoStorage;
    char value[4] = "old";
    EXPECT_EQ(propertyIn("a.b=1"), "1");  // leaves TAVO_PROPERTIES naming a removed file
    EXPECT_EQ(store.GetProperty("a.b", value, sizeof value), 0);
    setenv("TAVO_PROPERTIES", testing::TempDir().c_str(), 1);
    EXPECT_EQ(store.GetProperty("a.b", value, sizeof value), 0);
    unsetenv("TAVO_PROPERTIES");
    EXPECT_EQ(store.GetProperty("a.b", value, sizeof value), 0);
    EXPECT_EQ(store.GetProperty(nullptr, value, sizeof value), 0);
    EXPECT_EQ(store.GetProperty("a.b", value, 0), 0);
    EXPECT_STREQ(value, "old");
}

std::string levelOfProcessStartedWith(const std::string& setting) {
    FILE* output = popen(("env " + setting + " " PRINT_LOG_LEVEL " 2>/dev/null").c_str(), "r");
    char text[16] = {};
    if (output && !std::fgets(text, sizeof text, output)) text[0] = '\0';
    if (output) pclose(output);
    return text;
}

TEST(LogLevel, StartsWithTheEnvironmentsNumberAndElseWithZero) {
    EXPECT_EQ(levelOfProcessStartedWith("-u TAVO_LOG_LEVEL"), "0\n");
    EXPECT_EQ(levelOfProcessStartedWith("TAVO_LOG_LEVEL=4"), "4\n");
    EXPECT_EQ(levelOfProcessStartedWith("TAVO_LOG_LEVEL=4294967295"), "4294967295\n");
    for (const char* garbage : {"", "4x", "-1", "' 4'", "4294967296", "high"}) {
        EXPECT_EQ(levelOfProcessStartedWith(std::string("TAVO_LOG_LEVEL=") + garbage), "0\n")
            << garbage;
    }
}

TEST(LogLevel, SetterChangesWhatEveryoneReads) {
    setTavoLogLevel(259);
    EXPECT_EQ(getTavoLogLevel(), 259u);
}

TEST(SecFloat, MultipliesInSinglePrecision) {
    EXPECT_EQ(SecFloat::Multiply(16777216.0f, 1.0000001f), 16777216.0f * 1.0000001f);
    EXPECT_EQ(SecFloat::Multiply(-0.3f, 100.0f), -0.3f * 100.0f);
}

}  // namespace
