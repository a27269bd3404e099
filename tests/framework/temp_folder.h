// A folder of the test's own, and what is in its files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/base/file_content.h"

/// Removed with all that is in it.
class TempFolder {
public:
    explicit TempFolder(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : mPath(parent / "orvo-XXXXXX") {
        if (mkdtemp(mPath.data()) == nullptr) std::abort();
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::string operator/(const std::string& name) const { return mPath + '/' + name; }

private:
    std::string mPath;
};

using host::contentOf;
