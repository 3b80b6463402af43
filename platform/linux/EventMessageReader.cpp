#include "platform/linux/EventMessage.h"

#include <algorithm>
#include <utility>

#include "platform/SystemErrors.h"
#include "platform/linux/SealedMemory.h"

namespace cutstack {

namespace {

/// Each is a mapping of its own, of which a process has some ten thousand.
constexpr unsigned kMostMemoryFiles = 1024;

bool isText(FourCharCode type) { return type == EventType::utf8 || type == EventType::furl; }

/// Reads values from one message, depth first. Every function returns false, with the reason in
/// `error`, when what comes next is not what it reads.
class Reader {
public:
    Reader(sd_bus_message* message, std::string& error) : message_(message), error_(error) {}

    bool hasSignature(const char* signature) {
        return sd_bus_message_has_signature(message_, signature) > 0 ||
               refuse(std::string("the message is not of the form ") + signature);
    }

    bool code(FourCharCode& code) {
        std::string_view text;
        if (!string(text))
            return false;
        const auto read = fourCharCodeOf(text);
        if (!read ||
            !std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }))
            return refuse("a code is not four printable characters");
        code = *read;
        return true;
    }

    bool number(std::int32_t& value) {
        return found(sd_bus_message_read_basic(message_, 'i', &value));
    }

    /// A view into the message.
    bool string(std::string_view& value) {
        const char* text = nullptr;
        if (!found(sd_bus_message_read_basic(message_, 's', static_cast<void*>(&text))))
            return false;
        value = text;
        return true;
    }

    bool fields(std::vector<EventField>& fields, bool haveKeywords, unsigned level) {
        if (!enter('a', haveKeywords ? "(ssv)" : "(sv)"))
            return false;
        int more = 0;
        while ((more = sd_bus_message_enter_container(message_, 'r', haveKeywords ? "ssv" : "sv")) >
               0) {
            EventField& field = fields.emplace_back();
            if ((haveKeywords && !code(field.keyword)) || !code(field.value.type) ||
                !value(field.value, level) || !leave())
                return false;
        }
        return found(more < 0 ? more : 1) && leave();
    }

private:
    bool value(EventDescriptor& value, unsigned level) {
        if (++values_ > kMostValues)
            return refuse("there are too many values");
        char kind = 0;
        const char* contents = nullptr;
        if (!found(sd_bus_message_peek_type(message_, &kind, &contents)))
            return false;
        // Owned by the message, and gone once its container is entered.
        const std::string form = contents;
        return enter('v', form.c_str()) && content(value, form, level) && leave();
    }

    /// What is in a value of that form, where the value's type allows it.
    bool content(EventDescriptor& value, const std::string& form, unsigned level) {
        const bool isList = value.type == EventType::list;
        if (isList || value.type == EventType::record) {
            if (form != (isList ? "a(sv)" : "a(ssv)"))
                return refuseForm(value.type, form);
            return level < kMostLevels ? fields(value.fields, !isList, level + 1)
                                       : refuse("lists are nested too deeply");
        }
        if (form == "ay")
            return inlined(value.bytes);
        if (form == "h")
            return memory(value.bytes);
        if (form == "s" && isText(value.type))
            return text(value.bytes);
        if (form == "i" && value.type == EventType::longInteger)
            return integer(value);
        if (form == "b" && value.type == EventType::boolean)
            return boolean(value);
        return refuseForm(value.type, form);
    }

    bool inlined(SharedBytes& bytes) {
        const void* first = nullptr;
        std::size_t size = 0;
        if (!found(1, sd_bus_message_read_array(message_, 'y', &first, &size)))
            return false;
        if (size > 0)
            bytes = SharedBytes(std::string(static_cast<const char*>(first), size));
        return true;
    }

    bool memory(SharedBytes& bytes) {
        int number = -1;
        if (!found(sd_bus_message_read_basic(message_, 'h', &number)))
            return false;
        if (++memoryFiles_ > kMostMemoryFiles)
            return refuse("there are too many memory files");
        auto mapped = mappedMemory(number, kMostMappedBytes - mappedBytes_, error_);
        if (!mapped)
            return false;
        mappedBytes_ += mapped->view().size();
        bytes = std::move(*mapped);
        return true;
    }

    bool text(SharedBytes& bytes) {
        std::string_view value;
        if (!string(value))
            return false;
        bytes = SharedBytes(std::string(value));
        return true;
    }

    bool integer(EventDescriptor& value) {
        std::int32_t read = 0;
        if (!number(read))
            return false;
        value = EventDescriptor::ofInteger(read);
        return true;
    }

    bool boolean(EventDescriptor& value) {
        int read = 0;
        if (!found(sd_bus_message_read_basic(message_, 'b', &read)))
            return false;
        value = EventDescriptor::ofBoolean(read != 0);
        return true;
    }

    bool enter(char kind, const char* contents) {
        return found(sd_bus_message_enter_container(message_, kind, contents));
    }
    bool leave() { return found(1, sd_bus_message_exit_container(message_)); }

    /// `result` is 1 when there was something, 0 at the end, else minus errno's number.
    bool found(int result) {
        if (result == 0)
            return refuse("the message ends too early");
        return result > 0 || refuse(wordingOf(-result));
    }
    /// The same for calls that may answer 0 where there was something.
    bool found(int least, int result) { return found(result < 0 ? result : least); }

    bool refuseForm(FourCharCode type, const std::string& form) {
        return refuse("a value of type '" + textOf(type) + "' has the form " + form);
    }
    bool refuse(std::string reason) {
        error_ = std::move(reason);
        return false;
    }

    sd_bus_message* message_;
    std::string& error_;
    unsigned values_ = 0;
    unsigned memoryFiles_ = 0;
    std::size_t mappedBytes_ = 0;
};

} // namespace

std::optional<Event> readEvent(sd_bus_message* message, std::string& error) {
    Reader reader(message, error);
    Event event;
    if (!reader.hasSignature(kEventSignature) || !reader.code(event.eventClass) ||
        !reader.code(event.eventID) || !reader.fields(event.parameters, true, 0))
        return std::nullopt;
    return event;
}

std::optional<EventAnswer> readAnswer(sd_bus_message* message, std::string& error) {
    Reader reader(message, error);
    EventAnswer answer;
    std::int32_t status = 0;
    std::string_view words;
    if (!reader.hasSignature(kAnswerSignature) || !reader.number(status) || !reader.string(words) ||
        !reader.fields(answer.parameters, true, 0))
        return std::nullopt;
    answer.status = EventStatus{status};
    answer.message = words;
    return answer;
}

} // namespace cutstack
