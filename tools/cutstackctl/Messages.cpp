#include "tools/cutstackctl/Messages.h"

#include "tools/SentenceOutput.h"

#include <iostream>

namespace cutstack::cutstackctl {

int complain(std::string_view message, ExitStatus status) {
    std::cout.flush();
    std::cerr << "cutstackctl: " << onOneLine(message) << '\n';
    return status;
}

void printJsonLine(std::ostream& out, const nlohmann::ordered_json& object) {
    out << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

} // namespace cutstack::cutstackctl
