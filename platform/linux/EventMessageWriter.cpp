#include "platform/linux/EventMessage.h"

#include <algorithm>
#include <cerrno>

#include "platform/SystemErrors.h"
#include "platform/linux/BusText.h"
#include "platform/linux/SealedMemory.h"

namespace cutstack {

namespace {

/// A bus passes on only so many descriptors in one message; 16 is what every bus does. Further
/// large values travel inline.
constexpr unsigned kMostMemoryFiles = 16;

bool isPrintable(std::string_view code) {
    return std::all_of(code.begin(), code.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// Appends values to one message, depth first. Every function returns false, with the reason in
/// `error`, when something cannot be appended.
class Writer {
public:
    Writer(sd_bus_message* message, std::string& error) : message_(message), error_(error) {}

    bool code(FourCharCode code) {
        const std::string text = textOf(code);
        if (!isPrintable(text))
            return refuse("a code is not made of printable characters");
        return done(sd_bus_message_append_basic(message_, 's', text.c_str()));
    }

    bool number(std::int32_t value) {
        return done(sd_bus_message_append_basic(message_, 'i', &value));
    }

    bool text(const std::string& value) {
        return done(sd_bus_message_append_basic(message_, 's', busText(value).c_str()));
    }

    bool fields(const std::vector<EventField>& fields, bool haveKeywords, unsigned level) {
        const char* const contents = haveKeywords ? "ssv" : "sv";
        if (!done(sd_bus_message_open_container(message_, 'a', haveKeywords ? "(ssv)" : "(sv)")))
            return false;
        for (const EventField& field : fields) {
            if (!done(sd_bus_message_open_container(message_, 'r', contents)) ||
                (haveKeywords && !code(field.keyword)) || !code(field.value.type) ||
                !value(field.value, level) || !close())
                return false;
        }
        return close();
    }

private:
    bool value(const EventDescriptor& value, unsigned level) {
        if (++values_ > kMostValues)
            return refuse("there are too many values");
        if (value.type == EventType::list || value.type == EventType::record)
            return container(value, level + 1);
        if (value.bytes.view().size() > kMostInlineBytes && memoryFiles_ < kMostMemoryFiles)
            return memory(value.bytes.view());
        return inlined(value.bytes.view());
    }

    bool container(const EventDescriptor& value, unsigned level) {
        if (level > kMostLevels)
            return refuse("lists are nested too deeply");
        const bool isRecord = value.type == EventType::record;
        return open(isRecord ? "a(ssv)" : "a(sv)") && fields(value.fields, isRecord, level) &&
               close();
    }

    bool memory(std::string_view bytes) {
        const Descriptor file = sealedMemoryOf(bytes);
        if (!file.isOpen())
            return refuse(wordingOf(errno));
        ++memoryFiles_;
        const int number = file.number();
        return open("h") && done(sd_bus_message_append_basic(message_, 'h', &number)) && close();
    }

    bool inlined(std::string_view bytes) {
        return open("ay") &&
               done(sd_bus_message_append_array(message_, 'y', bytes.data(), bytes.size())) &&
               close();
    }

    bool open(const char* contents) {
        return done(sd_bus_message_open_container(message_, 'v', contents));
    }
    bool close() { return done(sd_bus_message_close_container(message_)); }

    bool done(int result) { return result >= 0 || refuse(wordingOf(-result)); }
    bool refuse(std::string reason) {
        error_ = std::move(reason);
        return false;
    }

    sd_bus_message* message_;
    std::string& error_;
    unsigned values_ = 0;
    unsigned memoryFiles_ = 0;
};

} // namespace

bool appendEvent(sd_bus_message* message, const Event& event, std::string& error) {
    Writer writer(message, error);
    return writer.code(event.eventClass) && writer.code(event.eventID) &&
           writer.fields(event.parameters, true, 0);
}

bool appendAnswer(sd_bus_message* message, const EventAnswer& answer, std::string& error) {
    Writer writer(message, error);
    return writer.number(static_cast<std::int32_t>(answer.status)) && writer.text(answer.message) &&
           writer.fields(answer.parameters, true, 0);
}

} // namespace cutstack
