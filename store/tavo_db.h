// The host framework's database (libtavodb), as the learning store requires it.
//
// A table holds rows of a key and a value of raw bytes; a key may have several
// rows. On a device the framework's closed library stands behind this class;
// elsewhere framework/tavodb does.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Operations of TavoDB::DBupdate.
constexpr std::uint32_t DB_OP_INSERT = 1;  ///< add one row; a key may hold several
constexpr std::uint32_t DB_OP_UPDATE = 2;  ///< replace the value of the key's row
constexpr std::uint32_t DB_OP_DELETE = 3;  ///< remove every row of the key; data null, size 0

/// One object per table. Thread-safe: calls on the same handle and on different
/// handles may run at once. Nothing throws; a negative result is a failure.
class TavoDB {
public:
    TavoDB();
    ~TavoDB();
    TavoDB(const TavoDB&) = delete;
    TavoDB& operator=(const TavoDB&) = delete;

    /// Opens the table `name`, creating it when missing. On success sets
    /// `handle` (unique in the process, never 0) and returns 0; any other
    /// result is a failure.
    std::int32_t DBopen(const std::string& name, std::uint32_t& handle);

    /// Closes the table. Handle 0 and handles already closed are refused.
    std::int32_t DBclose(std::uint32_t handle);

    /// Copies the value of the key's row into `data`. `size` is the buffer's
    /// capacity on entry and the bytes copied on return. Returns 0 when a value
    /// was copied, positive when the key has no row, negative on an error; a
    /// value longer than the buffer is an error, and nothing is copied.
    std::int32_t DBQuery(std::uint32_t handle, const std::string& key, void* data,
                         std::uint64_t& size);

    /// Carries out `op` with the `size` bytes at `data`. Returns the number of
    /// rows changed (0 for an update or delete of a missing key), negative on
    /// failure.
    std::int32_t DBupdate(std::uint32_t handle, const std::string& key, const void* data,
                          std::uint64_t size, std::uint32_t op);

    /// Finds every row of the key: appends its key to `keys` and a pointer to
    /// its value, `size` bytes long, to `values`, in insertion order. Returns
    /// the number of rows, negative on an error or when a value has another
    /// length. The buffers belong to this object and stay valid until the same
    /// thread's next DBQueryAll on it.
    std::int32_t DBQueryAll(std::uint32_t handle, const std::string& key,
                            std::vector<std::string>& keys, std::vector<void*>& values,
                            std::uint64_t size);

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};
