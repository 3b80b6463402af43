#include "support/BinaryPropertyList.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace cutstack {

namespace {

// The layout: eight bytes of magic, the objects, a table of their offsets, and a trailer of 32
// bytes that tells where the table stands and how wide its entries and the references are. An
// object begins with a marker byte: its kind in the upper four bits, its size in the lower ones.
constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
enum Kind : unsigned {
    kSimple,
    kInteger,
    kReal,
    kDate,
    kData,
    kAscii,
    kUtf16,
    kUid = 0x8,
    kArray = 0xA,
    kOrderedSet,
    kSet,
    kDictionary,
};
constexpr std::size_t kSizeFollows = 0xF; ///< in a marker: the size is an integer object of its own

/// What a list may grow to in memory: its copies of shared objects let a small file hold much.
constexpr std::size_t kGrowthAllowance = std::size_t{16} << 20;
constexpr std::size_t kGrowthPerByte = 256;

/// Seconds from 1970 to the format's epoch, the beginning of 2001.
constexpr std::chrono::seconds kEpoch(978307200);

/// A big-endian number of at most eight bytes.
std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

void appendUtf8(std::string& text, char32_t character) {
    const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto putRest = [&put, character](unsigned shift) {
        put(0x80U | (character >> shift & 0x3FU));
    };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0U | character >> 6);
        putRest(0);
    } else if (character < 0x10000) {
        put(0xE0U | character >> 12);
        putRest(6);
        putRest(0);
    } else {
        put(0xF0U | character >> 18);
        putRest(12);
        putRest(6);
        putRest(0);
    }
}

/// Big-endian UTF-16 as UTF-8; nothing when it has half of a surrogate pair.
std::optional<std::string> utf8FromUtf16(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        auto character = static_cast<char32_t>(bigEndian(bytes.substr(i, 2)));
        if (character >= 0xD800 && character <= 0xDFFF) {
            i += 2;
            const auto low =
                static_cast<char32_t>(i < bytes.size() ? bigEndian(bytes.substr(i, 2)) : 0);
            if (character >= 0xDC00 || low < 0xDC00 || low > 0xDFFF)
                return std::nullopt;
            character = 0x10000 + ((character - 0xD800) << 10 | (low - 0xDC00));
        }
        appendUtf8(text, character);
    }
    return text;
}

/// One reading. A function that returns nothing has said why in the error.
class Reading {
public:
    Reading(std::string_view bytes, std::string& error)
        : bytes_(bytes), error_(error), budget_(kGrowthAllowance + bytes.size() * kGrowthPerByte) {}

    std::optional<PropertyList> run();

private:
    /// An object's marker, and the bytes from behind it to the end of all objects.
    struct Object {
        std::size_t offset;
        unsigned kind;
        std::size_t size;
        std::string_view body;
    };

    bool readTrailer();
    std::optional<PropertyList> objectNumbered(std::uint64_t number);
    std::optional<PropertyList> valueOf(Object object);
    std::optional<PropertyList> valueOfSize(const Object& object);
    std::optional<PropertyList> simple(const Object& object);
    std::optional<PropertyList> integer(const Object& object);
    std::optional<PropertyList> real(const Object& object);
    std::optional<PropertyList> date(const Object& object);
    std::optional<PropertyList> data(const Object& object);
    std::optional<PropertyList> asciiString(const Object& object);
    std::optional<PropertyList> wideString(const Object& object);
    std::optional<PropertyList> array(const Object& object);
    std::optional<PropertyList> dictionary(const Object& object);

    bool readSize(Object& object);
    bool hasBody(const Object& object, std::size_t bytesPerElement);
    bool spend(const Object& object, std::size_t bytes);
    std::uint64_t reference(const Object& object, std::size_t index) const {
        return bigEndian(object.body.substr(index * referenceSize_, referenceSize_));
    }
    std::nullopt_t refuse(std::string_view message, std::size_t offset) {
        error_ = "byte " + std::to_string(offset) + ": " + std::string(message);
        return std::nullopt;
    }

    const std::string_view bytes_;
    std::string& error_;
    std::size_t budget_; ///< bytes of memory that the rest of the list may still take
    std::size_t depth_ = 0;
    std::string_view objects_; ///< magic and objects, without table and trailer
    std::string_view table_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
};

bool Reading::readTrailer() {
    if (bytes_.size() < kMagic.size() + kTrailerSize) {
        error_ = "the binary property list is cut off";
        return false;
    }
    const std::size_t trailerOffset = bytes_.size() - kTrailerSize;
    const std::string_view trailer = bytes_.substr(trailerOffset);
    offsetSize_ = bigEndian(trailer.substr(6, 1));
    referenceSize_ = bigEndian(trailer.substr(7, 1));
    objectCount_ = bigEndian(trailer.substr(8, 8));
    topObject_ = bigEndian(trailer.substr(16, 8));
    const std::uint64_t tableOffset = bigEndian(trailer.substr(24, 8));
    const auto isWidth = [](std::size_t size) { return size >= 1 && size <= 8; };
    if (!isWidth(offsetSize_) || !isWidth(referenceSize_) || tableOffset < kMagic.size() ||
        tableOffset > trailerOffset || topObject_ >= objectCount_ ||
        objectCount_ > (trailerOffset - tableOffset) / offsetSize_) {
        refuse("the trailer fits no such file", trailerOffset);
        return false;
    }
    objects_ = bytes_.substr(0, tableOffset);
    table_ = bytes_.substr(tableOffset, objectCount_ * offsetSize_);
    return true;
}

std::optional<PropertyList> Reading::run() {
    return readTrailer() ? objectNumbered(topObject_) : std::nullopt;
}

std::optional<PropertyList> Reading::objectNumbered(std::uint64_t number) {
    if (number >= objectCount_)
        return refuse("a reference to object " + std::to_string(number) + ", which there is not",
                      objects_.size());
    const std::uint64_t offset = bigEndian(table_.substr(number * offsetSize_, offsetSize_));
    if (offset < kMagic.size() || offset >= objects_.size())
        return refuse("object " + std::to_string(number) + " is said to stand outside the objects",
                      objects_.size() + number * offsetSize_);
    const unsigned marker = static_cast<unsigned char>(objects_[offset]);
    const Object object{offset, marker >> 4U, marker & 0xFU, objects_.substr(offset + 1)};
    return spend(object, sizeof(PropertyList)) ? valueOf(object) : std::nullopt;
}

/// Objects whose marker tells how many elements follow carry that number behind the marker when it
/// is too large for it.
bool Reading::readSize(Object& object) {
    if (object.size != kSizeFollows)
        return true;
    const unsigned marker =
        object.body.empty() ? 0U : static_cast<unsigned char>(object.body.front());
    const std::size_t width = std::size_t{1} << (marker & 0xFU);
    if (marker >> 4U != 1 || width > 8 || object.body.size() < 1 + width) {
        refuse("an object without a size", object.offset);
        return false;
    }
    object.size = bigEndian(object.body.substr(1, width));
    object.body.remove_prefix(1 + width);
    return true;
}

bool Reading::hasBody(const Object& object, std::size_t bytesPerElement) {
    if (object.size <= object.body.size() / bytesPerElement)
        return true;
    refuse("an object that reaches beyond the objects", object.offset);
    return false;
}

bool Reading::spend(const Object& object, std::size_t bytes) {
    if (bytes > budget_) {
        refuse("objects refer to each other so often that the list cannot be held", object.offset);
        return false;
    }
    budget_ -= bytes;
    return true;
}

std::optional<PropertyList> Reading::valueOf(Object object) {
    switch (object.kind) {
    case kSimple:
        return simple(object);
    case kInteger:
        return integer(object);
    case kReal:
        return real(object);
    case kDate:
        return date(object);
    case kUid:
        return refuse("a UID, which belongs to archives and not to property lists", object.offset);
    case kOrderedSet:
    case kSet:
        return refuse("a set, which is no kind of property list", object.offset);
    default:
        return readSize(object) ? valueOfSize(object) : std::nullopt;
    }
}

std::optional<PropertyList> Reading::valueOfSize(const Object& object) {
    switch (object.kind) {
    case kData:
        return data(object);
    case kAscii:
        return asciiString(object);
    case kUtf16:
        return wideString(object);
    case kArray:
        return array(object);
    case kDictionary:
        return dictionary(object);
    default:
        return refuse("an object of an unknown kind", object.offset);
    }
}

std::optional<PropertyList> Reading::simple(const Object& object) {
    if (object.size == 8 || object.size == 9)
        return PropertyList(object.size == 9);
    return refuse("a null or filler where a value should stand", object.offset);
}

std::optional<PropertyList> Reading::integer(const Object& object) {
    const std::size_t width = std::size_t{1} << object.size;
    if (width > 16 || object.body.size() < width)
        return refuse("an integer of an unknown width", object.offset);
    if (width < 8)
        return PropertyList(bigEndian(object.body.substr(0, width)));
    const std::uint64_t low = bigEndian(object.body.substr(width - 8, 8));
    const auto asSigned = static_cast<std::int64_t>(low);
    if (width == 8)
        return PropertyList(asSigned);
    // Sixteen bytes serve the numbers above 2^63, but may hold any other number too.
    const std::uint64_t high = bigEndian(object.body.substr(0, 8));
    if (high == 0)
        return PropertyList(low);
    if (high == std::numeric_limits<std::uint64_t>::max() && asSigned < 0)
        return PropertyList(asSigned);
    return refuse("an integer of more than 64 bits", object.offset);
}

std::optional<PropertyList> Reading::real(const Object& object) {
    constexpr std::size_t kFloat = 2;
    constexpr std::size_t kDouble = 3;
    const std::size_t width = std::size_t{1} << object.size;
    if ((object.size != kFloat && object.size != kDouble) || object.body.size() < width)
        return refuse("a real of an unknown width", object.offset);
    const std::uint64_t bits = bigEndian(object.body.substr(0, width));
    if (object.size == kFloat)
        return PropertyList(double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))});
    return PropertyList(std::bit_cast<double>(bits));
}

std::optional<PropertyList> Reading::date(const Object& object) {
    constexpr std::size_t kDouble = 3;
    if (object.size != kDouble || object.body.size() < sizeof(double))
        return refuse("a date of an unknown width", object.offset);
    const double sinceEpoch =
        std::floor(std::bit_cast<double>(bigEndian(object.body.substr(0, 8))));
    constexpr double kFarBeyondYears = 1e15; // and within what seconds can count
    if (std::abs(sinceEpoch) < kFarBeyondYears) {
        const PropertyListDate moment(kEpoch +
                                      std::chrono::seconds(static_cast<std::int64_t>(sinceEpoch)));
        if (isPropertyListDate(moment))
            return PropertyList(moment);
    }
    return refuse("a date outside the years 1 to 9999", object.offset);
}

std::optional<PropertyList> Reading::data(const Object& object) {
    if (!hasBody(object, 1) || !spend(object, object.size))
        return std::nullopt;
    return PropertyListData{std::string(object.body.substr(0, object.size))};
}

std::optional<PropertyList> Reading::asciiString(const Object& object) {
    if (!hasBody(object, 1) || !spend(object, object.size))
        return std::nullopt;
    const std::string_view text = object.body.substr(0, object.size);
    for (const char c : text)
        if (static_cast<unsigned char>(c) >= 0x80)
            return refuse("an ASCII string with other bytes", object.offset);
    return PropertyList(text);
}

std::optional<PropertyList> Reading::wideString(const Object& object) {
    if (!hasBody(object, 2) || !spend(object, 3 * object.size))
        return std::nullopt;
    auto text = utf8FromUtf16(object.body.substr(0, 2 * object.size));
    if (!text)
        return refuse("a string that is not valid UTF-16", object.offset);
    return PropertyList(*std::move(text));
}

std::optional<PropertyList> Reading::array(const Object& object) {
    if (!hasBody(object, referenceSize_))
        return std::nullopt;
    if (++depth_ > kPropertyListDepthLimit)
        return refuse("objects nested too deeply, or one that holds itself", object.offset);
    PropertyList::Array array;
    for (std::size_t i = 0; i < object.size; ++i) {
        auto value = objectNumbered(reference(object, i));
        if (!value)
            return std::nullopt;
        array.push_back(*std::move(value));
    }
    --depth_;
    return PropertyList(std::move(array));
}

std::optional<PropertyList> Reading::dictionary(const Object& object) {
    if (!hasBody(object, 2 * referenceSize_))
        return std::nullopt;
    if (++depth_ > kPropertyListDepthLimit)
        return refuse("objects nested too deeply, or one that holds itself", object.offset);
    PropertyList::Dictionary dictionary;
    for (std::size_t i = 0; i < object.size; ++i) {
        const auto key = objectNumbered(reference(object, i));
        if (!key)
            return std::nullopt;
        if (key->asString() == nullptr)
            return refuse("a dictionary's key is no string", object.offset);
        auto value = objectNumbered(reference(object, object.size + i));
        if (!value)
            return std::nullopt;
        dictionary.insert_or_assign(*key->asString(), *std::move(value));
    }
    --depth_;
    return PropertyList(std::move(dictionary));
}

} // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kMagic); }

std::optional<PropertyList> readBinaryPropertyList(std::string_view bytes, std::string& error) {
    if (!isBinaryPropertyList(bytes)) {
        error = "not a binary property list";
        return std::nullopt;
    }
    return Reading(bytes, error).run();
}

} // namespace cutstack
