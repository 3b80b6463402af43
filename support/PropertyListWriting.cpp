#include "support/PropertyListWriting.h"

#include <array>
#include <charconv>
#include <cmath>

namespace cutstack {

namespace {

constexpr std::string_view kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                     "<plist version=\"1.0\">\n";

/// How many bytes of data one line of base64 holds.
constexpr std::size_t kDataBytesInLine = 45;

/// The length of the UTF-8 sequence that `text` begins with, when it is a character that XML may
/// hold beyond ASCII; else 0.
std::size_t wideCharacterLength(std::string_view text) {
    const auto byte = [&text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned lead = byte(0);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    char32_t character = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        character = character << 6 | (byte(i) & 0x3F);
    }
    const bool isOverlong = character < (length == 4 ? 0x10000U : length == 3 ? 0x800U : 0x80U);
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    const bool isNoCharacter = character == 0xFFFE || character == 0xFFFF;
    const bool isValid = !isOverlong && !isSurrogate && !isNoCharacter && character <= 0x10FFFF;
    return isValid ? length : 0;
}

/// What an ASCII byte of a text needs on its way into XML.
enum class Passage : unsigned char { plain, escaped, wide, refused };

constexpr std::array<Passage, 256> passages() {
    std::array<Passage, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte)
        table[byte] = byte < 0x20 ? Passage::refused : byte < 0x80 ? Passage::plain : Passage::wide;
    table['\t'] = table['\n'] = Passage::plain;
    table['<'] = table['>'] = table['&'] = table['\r'] = Passage::escaped;
    return table;
}

std::string_view escapeFor(char c) {
    switch (c) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    default:
        return "&#13;"; // a bare carriage return is read as a line feed
    }
}

class Writer {
public:
    /// Whether all of it could be written.
    bool write(const PropertyList& list) {
        return depth_ <= kPropertyListDepthLimit &&
               std::visit([this](const auto& held) { return put(held); }, list.value());
    }

    std::string takeText() { return std::move(out_); }

    void append(std::string_view text) { out_.append(text); }

private:
    bool put(const PropertyList::Dictionary& dictionary);
    bool put(const PropertyList::Array& array);
    bool put(const std::string& text);
    bool put(double real);
    bool put(bool flag);
    bool put(PropertyListDate date);
    bool put(const PropertyListData& data);

    template <std::integral Integer>
    bool put(Integer number) {
        indent();
        append("<integer>");
        putNumber(number);
        append("</integer>\n");
        return true;
    }

    void putNumber(auto number) {
        char digits[32];
        out_.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
    }
    void putPadded(unsigned number, int width);
    bool putText(std::string_view tag, std::string_view text);
    bool putEscaped(std::string_view text);
    void indent() { out_.append(depth_, '\t'); }

    std::string out_;
    std::size_t depth_ = 0;
};

bool Writer::put(const PropertyList::Dictionary& dictionary) {
    indent();
    if (dictionary.empty()) {
        append("<dict/>\n");
        return true;
    }
    append("<dict>\n");
    ++depth_;
    for (const auto& [key, value] : dictionary)
        if (!putText("key", key) || !write(value))
            return false;
    --depth_;
    indent();
    append("</dict>\n");
    return true;
}

bool Writer::put(const PropertyList::Array& array) {
    indent();
    if (array.empty()) {
        append("<array/>\n");
        return true;
    }
    append("<array>\n");
    ++depth_;
    for (const PropertyList& value : array)
        if (!write(value))
            return false;
    --depth_;
    indent();
    append("</array>\n");
    return true;
}

bool Writer::put(const std::string& text) { return putText("string", text); }

bool Writer::putText(std::string_view tag, std::string_view text) {
    indent();
    append("<");
    append(tag);
    append(">");
    if (!putEscaped(text))
        return false;
    append("</");
    append(tag);
    append(">\n");
    return true;
}

bool Writer::putEscaped(std::string_view text) {
    static constexpr auto kPassages = passages();
    std::size_t begin = 0; // of what is still to be copied
    std::size_t at = 0;
    while (at < text.size()) {
        switch (kPassages[static_cast<unsigned char>(text[at])]) {
        case Passage::plain:
            ++at;
            break;
        case Passage::escaped:
            append(text.substr(begin, at - begin));
            append(escapeFor(text[at]));
            begin = ++at;
            break;
        case Passage::wide:
            if (const std::size_t length = wideCharacterLength(text.substr(at))) {
                at += length;
                break;
            }
            return false;
        case Passage::refused:
            return false;
        }
    }
    append(text.substr(begin));
    return true;
}

bool Writer::put(double real) {
    indent();
    append("<real>");
    if (std::isnan(real))
        append("nan");
    else if (std::isinf(real))
        append(real > 0 ? "+infinity" : "-infinity");
    else
        putNumber(real);
    append("</real>\n");
    return true;
}

bool Writer::put(bool flag) {
    indent();
    append(flag ? "<true/>\n" : "<false/>\n");
    return true;
}

void Writer::putPadded(unsigned number, int width) {
    const std::string digits = std::to_string(number);
    out_.append(static_cast<std::size_t>(width) - digits.size(), '0');
    append(digits);
}

bool Writer::put(PropertyListDate date) {
    using namespace std::chrono;
    if (!isPropertyListDate(date))
        return false;
    const auto midnight = floor<days>(date);
    const year_month_day day(midnight);
    const hh_mm_ss time(date - midnight);
    const struct {
        unsigned number;
        int width;
        std::string_view end;
    } fields[] = {
        {static_cast<unsigned>(static_cast<int>(day.year())), 4, "-"},
        {static_cast<unsigned>(day.month()), 2, "-"},
        {static_cast<unsigned>(day.day()), 2, "T"},
        {static_cast<unsigned>(time.hours().count()), 2, ":"},
        {static_cast<unsigned>(time.minutes().count()), 2, ":"},
        {static_cast<unsigned>(time.seconds().count()), 2, "Z</date>\n"},
    };
    indent();
    append("<date>");
    for (const auto& field : fields) {
        putPadded(field.number, field.width);
        append(field.end);
    }
    return true;
}

std::string base64(std::string_view bytes) {
    static constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::string_view group = bytes.substr(i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            text.push_back(k <= group.size() ? kDigits[bits >> (18 - 6 * k) & 0x3F] : '=');
    }
    return text;
}

bool Writer::put(const PropertyListData& data) {
    indent();
    append("<data>\n");
    for (std::size_t i = 0; i < data.bytes.size(); i += kDataBytesInLine) {
        indent();
        append(base64(std::string_view(data.bytes).substr(i, kDataBytesInLine)));
        append("\n");
    }
    indent();
    append("</data>\n");
    return true;
}

} // namespace

std::optional<std::string> xmlPropertyList(const PropertyList& list) {
    Writer writer;
    writer.append(kHeader);
    if (!writer.write(list))
        return std::nullopt;
    writer.append("</plist>\n");
    return writer.takeText();
}

} // namespace cutstack
