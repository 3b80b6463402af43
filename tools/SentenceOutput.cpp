#include "tools/SentenceOutput.h"

#include "support/Format.h"

namespace cutstack {

namespace {

bool isControl(char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; }

std::string escaped(char c) {
    if (c == '\n')
        return "\\n";
    return c == '\r' ? "\\r" : formatString("\\x%0.2x", {int{c}});
}

} // namespace

std::string onOneLine(std::string_view sentence) {
    std::string line;
    line.reserve(sentence.size());
    for (const char c : sentence)
        if (isControl(c))
            line += escaped(c);
        else
            line += c;
    return line;
}

bool printSentences(std::ostream& out, std::span<const std::string> sentences) {
    for (const std::string& sentence : sentences)
        out << onOneLine(sentence) << '\n';
    out.flush();
    return static_cast<bool>(out);
}

} // namespace cutstack
