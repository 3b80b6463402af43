#pragma once

// What projecthost does when it is not to serve itself: it asks the host that runs. Each function
// says on standard error what cannot be done and answers whether everything was. Main thread.

#include <string>
#include <vector>

namespace cutstack::projecthost {

/// Has the running host open the files, starting one in the background when there is none, and
/// waits until it has. Files are absolute paths.
[[nodiscard]] bool openInHost(const std::vector<std::string>& files);

/// Has the host that has the name open the files, and waits until it has looked at them.
[[nodiscard]] bool handOver(const std::vector<std::string>& files);

/// Prints the paths of the open projects, a line each. False also when no host runs.
[[nodiscard]] bool listProjects();

/// Closes the projects.
[[nodiscard]] bool closeProjects(const std::vector<std::string>& files, bool savesChanges);

} // namespace cutstack::projecthost
