#pragma once

// Keeps processes, and threads of one process, that change the same file out of each other's way. A
// lock is advisory: it holds against those who ask for it too. The lock is a file of its own beside
// the file, because that one is another file after every atomic writing; it holds nothing and
// stays.

#include <string>

namespace cutstack {

class FileLock {
public:
    /// Waits until nobody else holds the lock of the file at `path`, which need not exist; its
    /// folder must. The lock is held until this object is gone.
    explicit FileLock(const std::string& path);
    /// The same for a folder, which must exist and needs no file beside it.
    [[nodiscard]] static FileLock ofFolder(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// 0 when the lock is held, else errno's number for why not.
    [[nodiscard]] int fault() const { return fault_; }

private:
    /// Locks what open() answered, with errno set by it.
    explicit FileLock(int descriptor);

    int descriptor_ = -1;
    int fault_ = 0;
};

} // namespace cutstack
