#include "bench/XmlWriter.h"

namespace cutstack::bench {

void XmlWriter::indent() {
    if (indentation_ == Indentation::tabs)
        text_.append(open_.size(), '\t');
}

void XmlWriter::endLine() {
    if (indentation_ == Indentation::tabs)
        text_ += '\n';
}

void XmlWriter::prologue(std::string_view line) { (text_ += line) += '\n'; }

XmlWriter::Scope XmlWriter::element(std::string_view name) {
    open(name, {}, {});
    return Scope(*this);
}

XmlWriter::Scope XmlWriter::element(std::string_view name, std::string_view attribute,
                                    std::string_view value) {
    open(name, attribute, value);
    return Scope(*this);
}

void XmlWriter::open(std::string_view name, std::string_view attribute, std::string_view value) {
    indent();
    (text_ += '<') += name;
    if (!attribute.empty()) {
        ((text_ += ' ') += attribute) += "=\"";
        escape(value);
        text_ += '"';
    }
    text_ += '>';
    endLine();
    open_.push_back(name);
}

void XmlWriter::close() {
    const std::string_view name = open_.back();
    open_.pop_back();
    indent();
    ((text_ += "</") += name) += '>';
    endLine();
}

void XmlWriter::escape(std::string_view text) {
    for (const char c : text) {
        if (c == '&')
            text_ += "&amp;";
        else if (c == '<')
            text_ += "&lt;";
        else if (c == '"')
            text_ += "&quot;";
        else
            text_ += c;
    }
}

void XmlWriter::leaf(std::string_view name, std::string_view text) {
    indent();
    ((text_ += '<') += name) += '>';
    escape(text);
    ((text_ += "</") += name) += '>';
    endLine();
}

void XmlWriter::leaf(std::string_view name, std::int64_t number) {
    leaf(name, std::to_string(number));
}

void XmlWriter::blankLeaf(std::string_view name) { const Scope blank = element(name); }

void XmlWriter::reference(std::string_view name, std::string_view id) {
    indent();
    ((text_ += '<') += name) += " id=\"";
    escape(id);
    text_ += "\"/>";
    endLine();
}

} // namespace cutstack::bench
