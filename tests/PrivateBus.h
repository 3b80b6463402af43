#pragma once

// A session's message bus of a test's own. While it lives, this process and those that it starts
// find it as their session's bus. To be made before the test has other threads.

#include <map>
#include <string>
#include <sys/types.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {

class PrivateBus {
public:
    /// Starts the bus; fails the running test when it cannot. It starts `activatable`, names with
    /// the programs (without arguments) that take them, when somebody calls for one.
    explicit PrivateBus(const std::map<std::string, std::string>& activatable = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Ends the bus as a session does that is over.
    void end();

private:
    TemporaryFolder folder_;
    pid_t process_ = -1;
};

/// Makes this process one without a session while it lives.
class NoBus {
public:
    NoBus();
    ~NoBus();
    NoBus(const NoBus&) = delete;
    NoBus& operator=(const NoBus&) = delete;

private:
    TemporaryFolder folder_;
};

} // namespace cutstack
