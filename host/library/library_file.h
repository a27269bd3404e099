// The library's file: which one is loaded, and which locking it was built with.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// The hardened build that belongs to this program.
std::string ownLibraryFile();

/// A library that was loaded, for the rest of the process: it must not be unloaded
/// (feature/orvo.h says why).
class LibraryFile {
public:
    /// Throws HostError, kEnvironment, when `file` cannot be loaded or is not a library
    /// of this kind.
    explicit LibraryFile(const std::string& file);

    std::int32_t set(int op, std::string& package, void* message) const;
    std::int32_t get(int op, std::string& package) const;

    /// Whether it takes descriptor counts and may be shut down at any time.
    bool isHardened() const { return mIsHardened; }

    /// "hardened (/usr/lib/orvo/hardened/libzorv-orvo.so)".
    std::string text() const;

    /// Where results say that they come from: "1.0.0 (0123abc), hardened" of the program's
    /// own, the path and the locking of any other.
    std::string origin() const;

private:
    using SetData = std::int32_t(int, std::string&, void*);
    using GetData = std::int32_t(int, std::string&);

    std::string mPath;
    SetData* mSetData;
    GetData* mGetData;
    bool mIsHardened;
};

}  // namespace host
