#include "support/LogFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/Format.h"

namespace cutstack {

namespace {

namespace fs = std::filesystem;

constexpr int kOldestFile = 5;

} // namespace

std::string LogPlace::currentFile() const {
    return formatString("%@/%@.1.log", {current, appName});
}

std::string LogPlace::numberedFile(int number) const {
    return formatString("%@/%@.%i.log", {folder, appName, number});
}

std::string LogHeader::text() const {
    std::string result = formatString("Log started: %@\n", {date});
    if (bundleVersion)
        result += formatString("Version: %@\n", {*bundleVersion});
    if (executablePath)
        result += formatString("Path: %@\n", {*executablePath});
    const double gigabytes = static_cast<double>(system.memoryInBytes) / 1024 / 1024 / 1024;
    result += formatString("System: OS X %@, %i CPU(s), %0.2f GB RAM\n",
                           {system.version, system.processorCount, gigabytes});
    return result + "Running in 32-bit mode\n";
}

void LogFile::start(const LogPlace& place, std::string_view header) {
    close();
    if (!makeFolder(place.folder))
        return;
    const std::string path = place.currentFile();
    // Two processes that rotate at once would lose each other's files. A folder that cannot be
    // locked is used all the same.
    const FileLock lock = FileLock::ofFolder(place.folder);
    if (std::error_code ignored; fs::exists(path, ignored) && !rotate(place))
        return;
    std::string error;
    if (!writeFileAtomically(path, header, error)) {
        console_.log(formatString("Unable to create log file %@ - %@", {path, error}));
        return;
    }
    open(path); // the first line tries again when this fails
}

bool LogFile::open(const std::string& path) {
    // A pipe in the file's place must not make the program wait for a reader.
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    return isOpen();
}

bool LogFile::write(std::string_view line, std::string& error) {
    while (!line.empty()) {
        const ssize_t written = ::write(descriptor_, line.data(), line.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0) {
            error = wordingOf(errno);
            return false;
        }
        bytesWritten_ += static_cast<std::size_t>(written);
        line.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool LogFile::makeFolder(const std::string& folder) {
    std::error_code error;
    if (fs::exists(folder, error) || makeFolders(folder) == 0)
        return true;
    console_.log(formatString("Unable to create folder %@.", {folder}));
    return false;
}

bool LogFile::rotate(const LogPlace& place) {
    std::error_code ignored;
    fs::remove(place.numberedFile(kOldestFile), ignored);
    for (int number = kOldestFile - 1; number >= 1; --number) {
        const std::string from = place.numberedFile(number);
        const std::string to = place.numberedFile(number + 1);
        std::error_code error;
        if (!fs::exists(from, error))
            continue;
        fs::rename(from, to, error);
        if (error) {
            console_.log(formatString("Unable to move file %@ to %@", {from, to}));
            return false;
        }
    }
    return true;
}

void LogFile::close() {
    if (isOpen())
        ::close(descriptor_);
    descriptor_ = -1;
    bytesWritten_ = 0;
}

} // namespace cutstack
