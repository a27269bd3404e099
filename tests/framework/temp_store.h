// A database of the test's own, in a folder that goes with it, and its log lines.
#pragma once

#include <android/log.h>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "store/tavo_db.h"

class TempStore : public testing::Test {
protected:
    TempStore() {
        mFolder = testing::TempDir() + "tavodb.XXXXXX";
        if (!mkdtemp(mFolder.data())) std::abort();
        use(mFolder + "/state/orvo.db");
        mLogged.clear();
        __android_log_set_logger([](const __android_logger_data*, const char* message) {
            mLogged.emplace_back(message);
        });
    }
    ~TempStore() override { std::filesystem::remove_all(mFolder); }

    /// Makes `path` the database that is opened from now on.
    void use(const std::string& path) {
        mPath = path;
        setenv("TAVO_DB_PATH", path.c_str(), 1);
    }

    static std::uint32_t openTable(TavoDB& database, const std::string& name) {
        std::uint32_t handle = 0;
        EXPECT_EQ(database.DBopen(name, handle), 0);
        return handle;
    }

    static std::int32_t insert(TavoDB& database, std::uint32_t handle, const std::string& key,
                               const std::string& value) {
        return database.DBupdate(handle, key, value.data(), value.size(), DB_OP_INSERT);
    }

    /// All values of the key, with a '|' behind each; "failed" for a negative result.
    static std::string valuesOf(TavoDB& database, std::uint32_t handle, const std::string& key,
                                std::uint64_t size) {
        std::vector<std::string> keys;
        std::vector<void*> values;
        if (database.DBQueryAll(handle, key, keys, values, size) < 0) return "failed";
        EXPECT_EQ(keys, std::vector<std::string>(values.size(), key));
        std::string all;
        for (const void* value : values)
            all.append(static_cast<const char*>(value), size) += '|';
        return all;
    }

    std::string mFolder;
    std::string mPath;
    static inline std::vector<std::string> mLogged;
};
