#include "support/ZTException.h"

#include <new>
#include <stdexcept>

namespace cutstack {

std::string ZTException::nameOf(const std::exception& exception) {
    if (const auto* named = dynamic_cast<const Exception*>(&exception))
        return named->name();
    if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr)
        return "NSMallocException";
    if (dynamic_cast<const std::out_of_range*>(&exception) != nullptr ||
        dynamic_cast<const std::length_error*>(&exception) != nullptr)
        return "NSRangeException";
    if (dynamic_cast<const std::invalid_argument*>(&exception) != nullptr)
        return "NSInvalidArgumentException";
    return std::string(kGenericException);
}

bool ZTException::didTimeout(const std::exception& exception) {
    return nameOf(exception) == kPortTimeoutException;
}

std::string ZTException::logException(const std::exception& exception, std::string_view method,
                                      LogWriter& log) {
    std::string text =
        formatString("Exception in %s. %@ - %@.", {method, nameOf(exception), exception.what()});
    log.appendLog(text);
    log.console().log(text);
    return text;
}

} // namespace cutstack
