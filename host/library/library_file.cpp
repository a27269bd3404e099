// The library's file: which one is loaded, and which locking it was built with.
#include "host/library/library_file.h"

#include <dlfcn.h>
#include <filesystem>

#include "host/base/exit_code.h"
#include "host/base/regular_file.h"
#include "host/base/version.h"

namespace host {
namespace {

#ifdef _LIBCPP_VERSION
constexpr const char* kOtherStandardLibrary = "libstdc++.so.6";
#else
constexpr const char* kOtherStandardLibrary = "libc++.so.1";
#endif

bool isLoaded(const char* library) {
    return dlopen(library, RTLD_LAZY | RTLD_NOLOAD) != nullptr;
}

const char* lockingText(bool isHardened) {
    return isHardened ? "hardened" : "default";
}

[[noreturn]] void refuse(const std::string& file, const std::string& why) {
    throw HostError(kEnvironment, "the library " + file + ' ' + why);
}

// Not looked up in the loader's folders: what runs is the file that is named.
void* load(const std::string& file) {
    const bool hadOther = isLoaded(kOtherStandardLibrary);
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) refuse(file, std::string("cannot be loaded: ") + dlerror());
    // A std::string crosses the boundary.
    if (!hadOther && isLoaded(kOtherStandardLibrary))
        refuse(file,
               std::string("was built for another C++ standard library, ") + kOtherStandardLibrary);
    return handle;
}

template <typename Function>
Function* functionOf(void* handle, const char* name, const std::string& file) {
    void* const found = dlsym(handle, name);
    if (found == nullptr) refuse(file, std::string("has no function ") + name);
    return reinterpret_cast<Function*>(found);
}

}  // namespace

// The build's folders have the same layout as the installed ones.
std::string ownLibraryFile() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) throw HostError(kEnvironment, "cannot read /proc/self/exe: " + error.message());
    return (program.parent_path().parent_path() / ORVO_HARDENED_LIBRARY).string();
}

LibraryFile::LibraryFile(const std::string& file) : mPath(std::filesystem::absolute(file)) {
    // The loader would wait for a pipe's writer.
    if (!openGivenFile(mPath, kEnvironment).isOpen()) refuse(mPath, "is missing");
    void* const handle = load(mPath);
    mSetData = functionOf<SetData>(handle, "setData", mPath);
    mGetData = functionOf<GetData>(handle, "getData", mPath);
    mIsHardened = dlsym(handle, "orvoHardenedLocking") != nullptr;
}

std::int32_t LibraryFile::set(int op, std::string& package, void* message) const {
    return mSetData(op, package, message);
}

std::int32_t LibraryFile::get(int op, std::string& package) const {
    return mGetData(op, package);
}

std::string LibraryFile::text() const {
    return std::string(lockingText(mIsHardened)) + " (" + mPath + ')';
}

std::string LibraryFile::origin() const {
    return (mPath == ownLibraryFile() ? buildVersion() : mPath) + ", " + lockingText(mIsHardened);
}

}  // namespace host
