#include "tools/xmemldiff/Exports.h"

#include "support/AtomicFile.h"
#include "support/Format.h"
#include "tools/ProgressLine.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <limits>
#include <optional>

namespace cutstack::xmemldiff {

namespace {

constexpr std::size_t kLargestExport = std::numeric_limits<std::int32_t>::max();
constexpr std::chrono::milliseconds kBetweenProgress(100);

/// One document on its way from a file. Lives on the main thread, is filled by another, and tells
/// its progress meanwhile.
struct Reading {
    std::string file;
    std::atomic<std::uint64_t> bytes = 0; ///< 0 until the file has been read
    std::atomic<std::uint64_t> bytesParsed = 0;
    std::unique_ptr<const XmemlDocument> document;
    std::optional<std::string> error;

    void run();

private:
    void readAndParse();
    void parse(std::string content);
};

std::string shownName(const std::string& file) { return file == "-" ? "standard input" : file; }

void Reading::parse(std::string content) {
    XmlError fault;
    document = XmemlDocument::parse(std::move(content), fault, &bytesParsed);
    if (document != nullptr && document->root().name() != XmemlName::xmeml) {
        fault = {formatString("this is no XMEML export: its root element is '%@'",
                              {document->root().nameText()}),
                 0, 0};
        document.reset();
    }
    if (document != nullptr)
        return;
    const std::string place =
        fault.line == 0 ? "" : formatString("%i:%i:", {fault.line, fault.column});
    error = formatString("%@:%@ %@", {shownName(file), place, fault.message});
}

/// Whatever goes wrong ends in `error`: nobody listens to exceptions of this thread.
void Reading::run() {
    try {
        readAndParse();
    } catch (const std::bad_alloc&) {
        error = shownName(file) + ": out of memory";
    } catch (const std::exception& exception) {
        error = shownName(file) + ": " + exception.what();
    }
}

void Reading::readAndParse() {
    std::string reason;
    auto content = readFile(file == "-" ? "/dev/stdin" : file, kLargestExport, reason);
    if (!content) {
        error = formatString("%@: %@", {shownName(file), reason});
        return;
    }
    bytes = content->size();
    parse(*std::move(content));
}

/// Percent of the bytes of both files; none while one of them is not read yet.
std::optional<unsigned> percentRead(const Reading& base, const Reading& next) {
    const std::uint64_t bytes = base.bytes + next.bytes;
    if (base.bytes == 0 || next.bytes == 0)
        return std::nullopt;
    return static_cast<unsigned>((base.bytesParsed + next.bytesParsed) * 100 / bytes);
}

} // namespace

Exports readExports(const std::string& baseFile, const std::string& newFile) {
    Reading base{.file = baseFile, .document = nullptr, .error = {}};
    Reading next{.file = newFile, .document = nullptr, .error = {}};
    const std::array readings = {std::async(std::launch::async, &Reading::run, &base),
                                 std::async(std::launch::async, &Reading::run, &next)};
    ProgressLine progress;
    for (const auto& reading : readings)
        while (reading.wait_for(kBetweenProgress) == std::future_status::timeout)
            progress.show("Reading exports", percentRead(base, next));
    Exports exports{std::move(base.document), std::move(next.document), {}};
    for (auto& error : {base.error, next.error})
        if (error)
            exports.errors.push_back(*error);
    return exports;
}

} // namespace cutstack::xmemldiff
