#pragma once

// How the program and its privileged helper talk over their private pair of stream sockets. Each
// message is a frame: its length (32 bits, big-endian) and so many bytes. The helper speaks first,
// with `ready`; then each request gets one answer.
//
//   request   1 byte: whether to wait | tool | arguments...     each a length and its bytes
//   answer    1 byte: kind | 4 bytes: number | text to the end
//
// Texts are bytes: names of files need not be UTF-8. Reading is bounded and believes nothing. Pure
// but for sendFrame() and receiveFrame(), of which a socket is used by one thread at a time.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

inline constexpr std::size_t kLargestFrame = 1 << 20;
/// Told by `ready`; a helper of another version is not used.
inline constexpr std::int32_t kPrivilegedProtocolVersion = 1;

struct PrivilegedRequest {
    bool waits = false;
    std::string tool;
    std::vector<std::string> arguments;

    friend bool operator==(const PrivilegedRequest&, const PrivilegedRequest&) = default;
};

struct PrivilegedAnswer {
    enum class Kind : std::uint8_t {
        ready = 'R',  ///< `number` is the version of the protocol
        status = 'S', ///< `number` is the exit status of the tool
        refused = 'N' ///< `text` says why
    };
    Kind kind = Kind::refused;
    std::int32_t number = 0;
    std::string text;

    friend bool operator==(const PrivilegedAnswer&, const PrivilegedAnswer&) = default;
};

[[nodiscard]] std::string encoded(const PrivilegedRequest& request);
[[nodiscard]] std::string encoded(const PrivilegedAnswer& answer);

/// What a frame holds; nothing when it is not well formed.
[[nodiscard]] std::optional<PrivilegedRequest> decodedRequest(std::string_view frame);
[[nodiscard]] std::optional<PrivilegedAnswer> decodedAnswer(std::string_view frame);

/// Sends one frame. On failure, also for one that is too large, returns false with the reason in
/// `error`; the socket is then of no more use.
[[nodiscard]] bool sendFrame(int socket, std::string_view frame, std::string& error);

/// Waits for one frame. Returns nothing, with the reason in `error`, at the end of the stream and
/// on failure; the socket is then of no more use.
[[nodiscard]] std::optional<std::string> receiveFrame(int socket, std::string& error);

} // namespace cutstack
