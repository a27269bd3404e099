// A database of the test's own, in a folder that goes with it, and its log lines.
#pragma once

#include <android/log.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "store/tavo_db.h"

class TempStore : public testing::Test {
protected:
    TempStore() {
        mFolder = testing::TempDir() + "tavodb.XXXXXX";
        if (!mkdtemp(mFolder.data())) std::abort();
        use(mFolder + "/state/orvo.db");
        sLogged.clear();
        __android_log_set_logger([](const __android_logger_data*, const char* message) {
            static std::mutex mutex;
            const std::lock_guard<std::mutex> lock(mutex);
            sLogged.emplace_back(message);
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
        EXPECT_NE(handle, 0u);
        return handle;
    }

    static std::int32_t insert(TavoDB& database, std::uint32_t handle, const std::string& key,
                               const std::string& value) {
        return database.DBupdate(handle, key, value.data(), value.size(), DB_OP_INSERT);
    }

    /// All values of the key, one after the other with a '|' behind each;
    /// "failed" for a negative result.
    static std::string valuesOf(TavoDB& database, std::uint32_t handle, const std::string& key,
                                std::uint64_t size) {
        std::vector<std::string> keys;
        std::vector<void*> values;
        const std::int32_t rows = database.DBQueryAll(handle, key, keys, values, size);
        EXPECT_EQ(keys, std::vector<std::string>(values.size(), key));
        EXPECT_EQ(values.size(), rows < 0 ? 0u : static_cast<std::size_t>(rows));
        if (rows < 0) return "failed";
        std::string all;
        for (const void* value : values)
            all.append(static_cast<const char*>(value), size) += '|';
        return all;
    }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string mFolder;
    std::string mPath;
    static inline std::vector<std::string> sLogged;
};
