// Answers of other applications. The bytes are the steps by which a message of the bus is written:
// mostly in the shape of an answer, with every form that a value can have and some that none has.
// Reading must end with an answer or with a reason; what was read must be writable, and come back.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/BusText.h"
#include "platform/linux/EventMessage.h"
#include "platform/linux/SealedMemory.h"
#include "platform/linux/SessionBus.h"

namespace {

using namespace cutstack;

void require(bool isTrue) {
    if (!isTrue)
        std::abort();
}

/// A connection that nobody reads: messages need one to be made on.
sd_bus* connection() {
    static sd_bus* const bus = [] {
        int ends[2] = {-1, -1};
        sd_bus* made = nullptr;
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
                sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0);
        return made;
    }();
    return bus;
}

BusMessage newMessage() {
    std::string error;
    BusMessage message = newCall(connection(), "com.example.A", "/a", "com.example.A", "A", error);
    require(message != nullptr);
    return message;
}

/// Memory files that may be taken, and others.
int descriptor(unsigned choice) {
    static const int files[] = {
        memfd_create("unsealed", MFD_CLOEXEC),
        dup(sealedMemoryOf("sealed").number()),
        dup(sealedMemoryOf("").number()),
        dup(sealedMemoryOf(std::string(100'000, 'x')).number()),
        open("/dev/zero", O_RDONLY | O_CLOEXEC),
    };
    return files[choice % std::size(files)];
}

class Steps {
public:
    Steps(std::string_view input, sd_bus_message* message) : input_(input), message_(message) {}

    void write() {
        if (next() % 16 == 0)
            sd_bus_message_append(message_, "u", 1);
        else
            sd_bus_message_append(message_, "i", static_cast<int>(next()) - 128);
        text(bytes(next() % 8));
        fields(true, 0);
    }

private:
    unsigned next() {
        if (input_.empty())
            return 1;
        const auto byte = static_cast<unsigned char>(input_.front());
        input_.remove_prefix(1);
        return byte;
    }
    std::string bytes(std::size_t count) {
        const std::string taken(input_.substr(0, count));
        input_.remove_prefix(taken.size());
        return taken;
    }
    /// What is not UTF-8 does not get into a message, nor through a bus.
    void text(const std::string& words) {
        sd_bus_message_append_basic(message_, 's', busText(words).c_str());
    }

    std::string code() {
        static constexpr const char* known[] = {"utf8", "furl", "long", "bool",
                                                "list", "reco", "fsrf", "xmlD"};
        const unsigned choice = next();
        return choice % 9 == 8 ? bytes(choice % 6) : known[choice % 9];
    }

    void fields(bool haveKeywords, unsigned level) {
        sd_bus_message_open_container(message_, 'a', haveKeywords ? "(ssv)" : "(sv)");
        while (!input_.empty() && next() % 8 != 0) {
            sd_bus_message_open_container(message_, 'r', haveKeywords ? "ssv" : "sv");
            if (haveKeywords)
                text(code());
            value(level);
            sd_bus_message_close_container(message_);
        }
        sd_bus_message_close_container(message_);
    }

    /// A type and a value, most of the time one in a form that goes with the type.
    void value(unsigned level) {
        const unsigned form = next() % 10;
        static constexpr const char* fitting[] = {"fsrf", "utf8", "long", "bool", "list",
                                                  "reco", "utf8", "fsrf", "furl", "list"};
        const std::string type = next() % 8 == 0 ? code() : fitting[form];
        text(type);
        if (form == 4 || form == 5)
            return level < 20 ? container(form == 5, level) : number();
        if (form == 1 || form == 8)
            sd_bus_message_append(message_, "v", "s", busText(bytes(next() % 16)).c_str());
        else if (form == 2)
            number();
        else if (form == 3)
            sd_bus_message_append(message_, "v", "b", static_cast<int>(next() % 2));
        else if (form == 6)
            sd_bus_message_append(message_, "v", "h", descriptor(next()));
        else if (form == 9)
            sd_bus_message_append(message_, "v", "a{sv}", 1, "key", "v", "t", std::uint64_t{1});
        else
            byteArray();
    }

    void number() { sd_bus_message_append(message_, "v", "i", static_cast<int>(next())); }

    void byteArray() {
        const std::string content = bytes(next());
        sd_bus_message_open_container(message_, 'v', "ay");
        sd_bus_message_append_array(message_, 'y', content.data(), content.size());
        sd_bus_message_close_container(message_);
    }

    void container(bool isRecord, unsigned level) {
        sd_bus_message_open_container(message_, 'v', isRecord ? "a(ssv)" : "a(sv)");
        fields(isRecord, level + 1);
        sd_bus_message_close_container(message_);
    }

    std::string_view input_;
    sd_bus_message* message_;
};

std::optional<EventAnswer> answerIn(sd_bus_message* message) {
    require(sd_bus_message_seal(message, 1, 0) >= 0);
    std::string error;
    auto answer = readAnswer(message, error);
    require(answer.has_value() == error.empty());
    return answer;
}

void requireSame(const std::vector<EventField>& one, const std::vector<EventField>& other) {
    require(one.size() == other.size());
    for (std::size_t i = 0; i < one.size(); ++i) {
        require(one[i].keyword == other[i].keyword && one[i].value.type == other[i].value.type &&
                one[i].value.bytes.view() == other[i].value.bytes.view());
        requireSame(one[i].value.fields, other[i].value.fields);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const BusMessage message = newMessage();
    Steps({reinterpret_cast<const char*>(bytes), size}, message.get()).write();
    const auto answer = answerIn(message.get());
    if (!answer)
        return 0;
    const BusMessage copy = newMessage();
    std::string error;
    require(appendAnswer(copy.get(), *answer, error));
    const auto again = answerIn(copy.get());
    require(again && again->status == answer->status);
    requireSame(again->parameters, answer->parameters);
    return 0;
}
