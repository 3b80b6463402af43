// ditto -c -k SOURCE ARCHIVE: the bundle's helper that makes zip archives.

#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <new>

#include "platform/ProcessPreparation.h"
#include "tools/ditto/Options.h"
#include "tools/ditto/ZipArchive.h"

namespace cutstack::ditto {

namespace {

int trouble(std::string_view message) {
    std::cerr << "ditto: " << message << '\n';
    return 1;
}

int run(std::span<const char* const> arguments) {
    std::string error;
    const auto options = parseOptions(arguments, error);
    if (!options) {
        trouble(error);
        std::cerr << "Try 'ditto --help'.\n";
        return 1;
    }
    if (options->wantsHelp)
        return std::cout << helpText() << std::flush ? 0 : 1;
    // By this the archive says that its names are UTF-8.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        return trouble("the system lacks the locale C.UTF-8");
    if (!makeZipArchive(options->source, options->destination, options->keepsParent, error))
        return trouble(error);
    return 0;
}

} // namespace

} // namespace cutstack::ditto

int main(int argc, char** argv) {
    cutstack::prepareProcess();
    std::signal(SIGXFSZ, SIG_IGN); // too large a file is a failure like others
    try {
        return cutstack::ditto::run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return cutstack::ditto::trouble("out of memory");
    } catch (const std::exception& exception) {
        return cutstack::ditto::trouble(exception.what());
    }
}
