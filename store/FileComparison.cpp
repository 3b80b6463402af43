#include "store/FileComparison.h"

#include <algorithm>
#include <array>
#include <fstream>

#include <sys/stat.h>

namespace cutstack {

namespace {

bool areRegularOfOneSize(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return ::lstat(a.c_str(), &first) == 0 && ::lstat(b.c_str(), &second) == 0 &&
           S_ISREG(first.st_mode) && S_ISREG(second.st_mode) && first.st_size == second.st_size;
}

} // namespace

bool haveEqualContents(const std::string& a, const std::string& b) {
    if (!areRegularOfOneSize(a, b))
        return false;
    std::ifstream first(a, std::ios::binary);
    std::ifstream second(b, std::ios::binary);
    std::array<char, 65536> left{};
    std::array<char, 65536> right{};
    while (first && second) {
        first.read(left.data(), left.size());
        second.read(right.data(), right.size());
        if (first.gcount() != second.gcount() || first.bad() || second.bad() ||
            !std::equal(left.begin(), left.begin() + first.gcount(), right.begin()))
            return false;
    }
    return first.eof() && second.eof();
}

} // namespace cutstack
