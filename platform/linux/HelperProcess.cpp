#include "platform/linux/HelperProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "platform/linux/SessionProcess.h"

namespace cutstack {

namespace {

/// How long a tool that asks nobody may take, such as over a directory server that is away.
constexpr std::chrono::seconds kLongestSilence{120};
/// How much of what the tool says is kept.
constexpr std::size_t kMostSaid = 4096;

/// Our environment. Where nobody is asked, in English: only then is the prompt for a password ours.
std::vector<std::string> environmentFor(const HelperStart& start) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text(*variable);
        if (start.asksPerson || !(text.starts_with("LC_ALL=") || text.starts_with("LANGUAGE=")))
            variables.emplace_back(text);
    }
    if (!start.asksPerson)
        variables.emplace_back("LC_ALL=C");
    return variables;
}

/// The process with which a start talks, until it turns out to be the helper.
struct Candidate {
    pid_t process = -1;
    Descriptor socket;
    Descriptor errors; ///< the reading end
};

std::optional<Candidate> spawned(const HelperStart& start, std::string& error) {
    std::array<int, 2> pair{};
    std::array<int, 2> pipe{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    Candidate candidate{-1, Descriptor(pair[0]), Descriptor()};
    const Descriptor theirs(pair[1]);
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    candidate.errors = Descriptor(pipe[0]);
    const Descriptor errors(pipe[1]);

    // A session of its own, so that the tool neither asks at our terminal nor is ended by it.
    const int fault = startInOwnSession(start.words, environmentFor(start),
                                        {theirs.number(), -1, errors.number()}, candidate.process);
    if (fault != 0) {
        error = wordingOf(fault);
        return std::nullopt;
    }
    return candidate;
}

/// The conversation with a tool for rights from its start until the helper says that it is ready.
class Starting {
public:
    Starting(Candidate& candidate, const HelperStart& start)
        : candidate_(candidate), start_(start) {}

    /// Whether the helper is ready; else `failure` says why not.
    bool reachesReady(HelperFailure& failure) {
        while (state_ == State::waiting)
            takeStep();
        if (state_ == State::ready)
            return true;
        end(failure);
        return false;
    }

private:
    enum class State { waiting, ready, ended, timedOut, wrongPassword, otherVersion, failed };

    void takeStep() {
        std::array<pollfd, 2> waited = {
            {{candidate_.socket.number(), POLLIN, 0}, {candidate_.errors.number(), POLLIN, 0}}};
        const auto limit = std::chrono::milliseconds(kLongestSilence).count();
        const int count =
            poll(waited.data(), waited.size(), start_.asksPerson ? -1 : static_cast<int>(limit));
        if (count == 0)
            state_ = State::timedOut;
        if (count < 0 && errno != EINTR)
            state_ = State::failed;
        if (count <= 0)
            return;
        if (waited[1].revents != 0)
            listen();
        else
            readAnswer();
    }

    /// Takes in what the tool writes, and answers its prompt.
    void listen() {
        std::array<char, 512> bytes{};
        const ssize_t count = read(candidate_.errors.number(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            return;
        if (count <= 0) {
            candidate_.errors = Descriptor();
            return;
        }
        said_.append(bytes.data(), static_cast<std::size_t>(count));
        if (const std::size_t prompt = said_.find(kPasswordPrompt); prompt != std::string::npos) {
            said_.erase(prompt, std::strlen(kPasswordPrompt));
            if (state_ == State::waiting && !answersPrompt())
                state_ = State::wrongPassword;
        }
        if (said_.size() > kMostSaid)
            said_.erase(0, said_.size() - kMostSaid);
    }

    /// Gives the password once; a tool that asks again did not like it.
    bool answersPrompt() {
        if (start_.password == nullptr || std::exchange(hasAnswered_, true))
            return false;
        std::string line = *start_.password + "\n";
        const ssize_t count =
            send(candidate_.socket.number(), line.data(), line.size(), MSG_NOSIGNAL);
        explicit_bzero(line.data(), line.size());
        return count == static_cast<ssize_t>(line.size());
    }

    void readAnswer() {
        std::string error;
        const auto frame = receiveFrame(candidate_.socket.number(), error);
        const auto answer = frame ? decodedAnswer(*frame) : std::nullopt;
        if (!answer || answer->kind != PrivilegedAnswer::Kind::ready)
            state_ = State::ended;
        else
            state_ =
                answer->number == kPrivilegedProtocolVersion ? State::ready : State::otherVersion;
    }

    /// Closes the connection, at which the tool gives up, and waits for it unless it is stuck.
    void end(HelperFailure& failure) {
        candidate_.socket = Descriptor();
        if (state_ == State::timedOut) {
            kill(candidate_.process, SIGKILL);
            std::thread([process = candidate_.process] {
                std::ignore = exitStatusOf(process);
            }).detach();
        } else {
            const int status = exitStatusOf(candidate_.process);
            if (state_ == State::ended)
                failure.status = status;
            readRest();
        }
        failure.reason = reason();
    }

    /// What a tool that has ended left in its pipe; somebody else may hold it open.
    void readRest() {
        pollfd waited{candidate_.errors.number(), POLLIN, 0};
        while (candidate_.errors.isOpen() && poll(&waited, 1, 0) == 1)
            listen();
    }

    [[nodiscard]] std::string reason() const {
        switch (state_) {
        case State::timedOut:
            return start_.words.front() + " did not answer";
        case State::wrongPassword:
            return "the password is wrong";
        case State::otherVersion:
            return start_.words.back() + " is of another version";
        case State::failed:
            return wordingOf(EIO);
        default:
            break;
        }
        const std::size_t end = said_.find_last_not_of(" \r\n");
        return end == std::string::npos ? start_.words.front() + " failed"
                                        : said_.substr(0, end + 1);
    }

    Candidate& candidate_;
    const HelperStart& start_;
    State state_ = State::waiting;
    std::string said_;
    bool hasAnswered_ = false;
};

} // namespace

std::unique_ptr<HelperProcess> HelperProcess::started(const HelperStart& start,
                                                      HelperFailure& failure) {
    auto candidate = spawned(start, failure.reason);
    if (!candidate || !Starting(*candidate, start).reachesReady(failure))
        return nullptr;
    return std::unique_ptr<HelperProcess>(
        new HelperProcess(candidate->process, std::move(candidate->socket)));
}

HelperProcess::HelperProcess(pid_t process, Descriptor socket)
    : process_(process), socket_(std::move(socket)) {}

HelperProcess::~HelperProcess() {
    disconnect();
    std::ignore = exitStatusOf(process_);
}

void HelperProcess::disconnect() { shutdown(socket_.number(), SHUT_RDWR); }

bool HelperProcess::isAlive() const {
    pollfd waited{socket_.number(), POLLRDHUP, 0};
    return poll(&waited, 1, 0) == 0;
}

std::optional<PrivilegedAnswer> HelperProcess::answerTo(const PrivilegedRequest& request,
                                                        std::string& error) {
    const std::string frameOfRequest = encoded(request);
    if (frameOfRequest.size() > kLargestFrame) {
        error = wordingOf(E2BIG);
        return std::nullopt;
    }
    const std::lock_guard lock(exchange_);
    std::optional<PrivilegedAnswer> answer;
    if (sendFrame(socket_.number(), frameOfRequest, error)) {
        if (const auto frame = receiveFrame(socket_.number(), error)) {
            answer = decodedAnswer(*frame);
            if (!answer)
                error = "the helper's answer is none";
        }
    }
    // What comes next could be the answer to this request.
    if (!answer)
        disconnect();
    return answer;
}

} // namespace cutstack
