#include "platform/EventTransport.h"

namespace cutstack {

namespace {

struct Signature {
    FourCharCode code;
    std::string_view identifier;
};

constexpr Signature kSignatures[] = {
    {fourCharCode("KeyG"), "com.apple.FinalCutPro"},
    {fourCharCode("MACS"), "com.apple.finder"},
};

} // namespace

std::optional<std::string_view> identifierOfSignature(FourCharCode signature) {
    for (const Signature& known : kSignatures) {
        if (known.code == signature)
            return known.identifier;
    }
    return std::nullopt;
}

std::optional<FourCharCode> signatureOfIdentifier(std::string_view identifier) {
    for (const Signature& known : kSignatures) {
        if (known.identifier == identifier)
            return known.code;
    }
    return std::nullopt;
}

} // namespace cutstack
