#pragma once

// Runs a program to its end and keeps what it said.

#include <functional>
#include <string>
#include <vector>

namespace cutstack {

struct Finished {
    int status = -1; ///< the exit status, or minus the signal that ended it
    std::string output;
    std::string errors;
};

/// Runs `arguments[0]` with the rest as its arguments and `input` as its standard input. Fails the
/// running test when it cannot be started.
Finished finished(const std::vector<std::string>& arguments, const std::string& input = "");

/// Runs `work` in a process of its own that is not root, and tells whether it returned true.
bool asOrdinaryUser(const std::function<bool()>& work);

} // namespace cutstack
