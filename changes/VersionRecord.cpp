#include "changes/VersionRecord.h"

#include <algorithm>
#include <utility>

namespace cutstack {

namespace {

/// Copies the text under `key` of a dictionary; false when there is none.
bool takeText(const PropertyList& dictionary, std::string_view key, std::string& text) {
    const PropertyList* value = dictionary.valueForKey(key);
    if (value == nullptr || value->asString() == nullptr)
        return false;
    text = *value->asString();
    return true;
}

bool takeSentences(PropertyList::Dictionary& dictionary, Changelist& sentences) {
    const auto found = dictionary.find("changelist");
    PropertyList::Array* array = found == dictionary.end() ? nullptr : found->second.asArray();
    if (array == nullptr)
        return false;
    sentences.reserve(array->size());
    for (PropertyList& entry : *array) {
        std::string* sentence = entry.asString();
        if (sentence == nullptr)
            return false;
        sentences.push_back(std::move(*sentence));
    }
    return true;
}

/// A value that need not be there, but must be of the right kind if it is.
template <typename Value>
bool takeOptional(const PropertyList* value, std::optional<Value> read, Value& into) {
    if (value == nullptr)
        return true;
    if (read)
        into = *read;
    return read.has_value();
}

} // namespace

PropertyList propertyListOf(const VersionRecord& record) {
    PropertyList::Dictionary dictionary = {
        {"changelist", PropertyList::Array(record.changelist.begin(), record.changelist.end())},
        {"version", record.version},
        {"date", record.date},
        {"file", record.file},
        {"type", record.type}};
    if (!record.size.empty())
        dictionary.emplace("size", record.size);
    if (record.noProcess)
        dictionary.emplace("noProcess", true);
    return dictionary;
}

std::optional<VersionRecord> versionRecordFrom(PropertyList&& dictionary) {
    VersionRecord record{};
    const PropertyList* date = dictionary.valueForKey("date");
    const PropertyList* size = dictionary.valueForKey("size");
    const PropertyList* noProcess = dictionary.valueForKey("noProcess");
    const bool isRecord =
        date != nullptr && date->asDate() && takeText(dictionary, "version", record.version) &&
        takeText(dictionary, "file", record.file) && takeText(dictionary, "type", record.type) &&
        (record.type == kXmlType || record.type == kFcpType) &&
        (size == nullptr || takeText(dictionary, "size", record.size)) &&
        takeOptional(noProcess, noProcess == nullptr ? std::nullopt : noProcess->asBoolean(),
                     record.noProcess) &&
        takeSentences(*dictionary.asDictionary(), record.changelist);
    if (!isRecord)
        return std::nullopt;
    record.date = *date->asDate();
    return record;
}

} // namespace cutstack
