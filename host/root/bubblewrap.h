// Starts this program again inside what bubblewrap makes, and stays around it.
//
// The two sides meet at a socket: the inside says that it has arrived and goes
// on when the outside has answered. So the outside knows its process by the
// number that counts outside, and an inside whose outside was killed meanwhile
// goes no further.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

struct BubblewrapRun {
    std::optional<int> exitCode;  ///< 128 + N after signal N; none: it never came to run
    std::string complaint;        ///< why not
};

/// Runs bubblewrap, which must start a program that calls arriveInDeviceRoot;
/// passes signals on to that until it ends. Nothing of bubblewrap's is left
/// then, nor when this process is killed meanwhile. Throws HostError when it
/// cannot be started.
BubblewrapRun runThroughBubblewrap(std::vector<std::string> arguments);

/// What bubblewrap complains of when it runs a program that does nothing; empty
/// when it does run. Throws HostError when it cannot be started.
std::string complaintOfBubblewrap(std::vector<std::string> arguments);

}  // namespace host
