#include "platform/linux/PrivilegedProtocol.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

constexpr std::size_t kNumberSize = 4;

std::string encodedNumber(std::uint32_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<unsigned char>((number >> shift) & 0xFFU));
    return bytes;
}

/// The number in the first four bytes. REQUIRES: there are so many.
std::uint32_t decodedNumber(std::string_view bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < kNumberSize; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

std::string encodedText(std::string_view text) {
    return encodedNumber(static_cast<std::uint32_t>(text.size())).append(text);
}

/// Takes a length and so many bytes off the front of `rest`.
std::optional<std::string> takenText(std::string_view& rest) {
    if (rest.size() < kNumberSize)
        return std::nullopt;
    const std::size_t size = decodedNumber(rest);
    rest.remove_prefix(kNumberSize);
    if (rest.size() < size)
        return std::nullopt;
    std::string text(rest.substr(0, size));
    rest.remove_prefix(size);
    return text;
}

/// Fills `bytes` from the socket; false, with the reason in `error`, when it ends before.
bool receiveWhole(int socket, char* bytes, std::size_t size, std::string& error) {
    while (size > 0) {
        const ssize_t count = recv(socket, bytes, size, 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            error = count == 0 ? "the connection was closed" : wordingOf(errno);
            return false;
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

std::string encoded(const PrivilegedRequest& request) {
    std::string frame(1, request.waits ? '\1' : '\0');
    frame += encodedText(request.tool);
    for (const std::string& argument : request.arguments)
        frame += encodedText(argument);
    return frame;
}

std::string encoded(const PrivilegedAnswer& answer) {
    std::string frame(1, static_cast<char>(answer.kind));
    frame += encodedNumber(static_cast<std::uint32_t>(answer.number));
    return frame + answer.text;
}

std::optional<PrivilegedRequest> decodedRequest(std::string_view frame) {
    if (frame.empty() || (frame[0] != '\0' && frame[0] != '\1'))
        return std::nullopt;
    PrivilegedRequest request;
    request.waits = frame[0] == '\1';
    frame.remove_prefix(1);
    auto tool = takenText(frame);
    if (!tool)
        return std::nullopt;
    request.tool = std::move(*tool);
    while (!frame.empty()) {
        auto argument = takenText(frame);
        if (!argument)
            return std::nullopt;
        request.arguments.push_back(std::move(*argument));
    }
    return request;
}

std::optional<PrivilegedAnswer> decodedAnswer(std::string_view frame) {
    if (frame.size() < 1 + kNumberSize)
        return std::nullopt;
    const auto kind = static_cast<PrivilegedAnswer::Kind>(frame[0]);
    using enum PrivilegedAnswer::Kind;
    if (kind != ready && kind != status && kind != refused)
        return std::nullopt;
    const auto number = static_cast<std::int32_t>(decodedNumber(frame.substr(1)));
    return PrivilegedAnswer{kind, number, std::string(frame.substr(1 + kNumberSize))};
}

bool sendFrame(int socket, std::string_view frame, std::string& error) {
    if (frame.size() > kLargestFrame) {
        error = wordingOf(EMSGSIZE);
        return false;
    }
    const std::string whole = encodedText(frame);
    std::string_view rest = whole;
    while (!rest.empty()) {
        const ssize_t count = send(socket, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            error = wordingOf(errno);
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::optional<std::string> receiveFrame(int socket, std::string& error) {
    std::array<char, kNumberSize> length{};
    if (!receiveWhole(socket, length.data(), length.size(), error))
        return std::nullopt;
    const std::size_t size = decodedNumber({length.data(), length.size()});
    if (size > kLargestFrame) {
        error = wordingOf(EMSGSIZE);
        return std::nullopt;
    }
    std::string frame(size, '\0');
    if (!receiveWhole(socket, frame.data(), size, error))
        return std::nullopt;
    return frame;
}

} // namespace cutstack
