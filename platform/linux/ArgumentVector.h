#pragma once

// The words of a command as a new program takes them: pointers to each, and one to nothing behind
// them. Holds its own copy of the words; one thread.

#include <string>
#include <utility>
#include <vector>

namespace cutstack {

class ArgumentVector {
public:
    /// `program` is the first word.
    ArgumentVector(std::string program, const std::vector<std::string>& arguments)
        : words_{std::move(program)} {
        words_.insert(words_.end(), arguments.begin(), arguments.end());
        pointers_.reserve(words_.size() + 1);
        for (std::string& word : words_)
            pointers_.push_back(word.data());
        pointers_.push_back(nullptr);
    }
    ArgumentVector(const ArgumentVector&) = delete;
    ArgumentVector& operator=(const ArgumentVector&) = delete;

    /// Good as long as this object.
    [[nodiscard]] char* const* pointers() const { return pointers_.data(); }

private:
    std::vector<std::string> words_;
    std::vector<char*> pointers_;
};

} // namespace cutstack
