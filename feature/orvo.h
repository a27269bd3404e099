// The library's whole outside surface: two functions with C linkage.
//
// Threads      Both may be called from any thread at any time, concurrently; but
//              of launch events of one package that several threads send at once
//              some are not counted, and they may leave a second status row.
//              The library runs one thread of its own from the initialise
//              operation on; the shut-down operation neither wakes nor joins it.
// Ownership    The caller owns the name and the message; both are only read
//              during the call. Messages need no alignment.
// Failure      Return values and log lines only; nothing throws across.
// Embedding    Both sides must be built against the same C++ standard library:
//              a std::string crosses the boundary.
//
// How a process leaves: once the initialise operation has succeeded, the host
// leaves with _exit(). The thread handle stays joinable by contract, so that
// exit(), returning from main, unloading the library, or a second initialise
// ends in std::terminate. The shut-down operation does not change that.
#pragma once

#include <cstdint>
#include <string>

#define ORVO_EXPORT __attribute__((visibility("default")))

/// Operations of setData.
enum OrvoSetOp : int {
    /// A launch event. `msg`: two int32, launch type (2 is the long launch)
    /// then launch subtype.
    ORVO_SET_LAUNCH = 1,
    ORVO_SET_STOP = 2,   ///< Abandon the launch being learned.
    ORVO_SET_ERASE = 3,  ///< Forget everything learned of the package.
    /// Open-descriptor counts. `msg`: a uint16 count, two bytes of padding,
    /// then that many int32. In the default build a message with entries blocks
    /// its caller for good (updatesFDCount in learner/orvo_learner.h says why):
    /// do not send one. The hardened build takes them.
    ORVO_SET_FD_INFO = 6,
    /// Open the store and start learning; once per process. Name and message
    /// are not looked at. Returns -1 when the thread cannot be created.
    ORVO_SET_INIT = 10,
    /// Close the store. A launch under way still runs to its end.
    ORVO_SET_DEINIT = 11,
};

/// Operations of getData.
enum OrvoGetOp : int {
    ORVO_GET_FINAL_ENDPOINT = 4,  ///< ms; 0 while the package is not learned.
    ORVO_GET_SAMPLE_AVERAGE = 5,  ///< ms over the launches stored so far; 0 without any.
    ORVO_GET_PID = 7,             ///< The last pid found for the package; 1 without one.
};

/// Tells the library something. Returns 0, also for what it refuses (the log
/// says why), except that ORVO_SET_INIT returns -1 on failure.
extern "C" ORVO_EXPORT std::int32_t setData(int op, std::string& appName, void* msg);

/// Asks the library something; OrvoGetOp says what is returned. -1 for an empty
/// name, 0 for an unknown operation.
extern "C" ORVO_EXPORT std::int32_t getData(int op, std::string& appName);
