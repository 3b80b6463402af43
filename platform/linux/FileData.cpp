#include "platform/linux/FileData.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <vector>

namespace cutstack {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;
constexpr off_t kBlockSize = 512; ///< in which st_blocks counts

class DataCopy {
public:
    DataCopy(const Descriptor& source, const struct stat& status, const Descriptor& target,
             std::uint64_t bytesAtOnce, const DataObserver& observer)
        : source_(source.number()),
          target_(target.number()),
          size_(status.st_size),
          isDense_(status.st_blocks * kBlockSize >= size_),
          bytesAtOnce_(static_cast<off_t>(std::clamp<std::uint64_t>(bytesAtOnce, 1, kMostAtOnce))),
          observer_(observer) {}

    DataEnd run() {
        // The kernel's own files have content, but say that they are empty.
        if (size_ == 0)
            return copyRange(0, std::numeric_limits<off_t>::max());
        if (::ioctl(target_, FICLONE, source_) == 0)
            return report(size_);
        return isDense_ ? copyRange(0, size_) : copySparse();
    }

private:
    static constexpr std::uint64_t kMostAtOnce = std::uint64_t{1} << 30;

    /// Copies what is between the holes.
    DataEnd copySparse() {
        DataEnd end = DataEnd::copied;
        off_t data = 0;
        off_t hole = 0;
        while (end == DataEnd::copied && !isAtEnd_ && findsData(hole, data, hole))
            end = copyRange(data, hole);
        if (end != DataEnd::copied || isAtEnd_)
            return end;
        return ::ftruncate(target_, size_) == 0 ? report(size_) : DataEnd::unwritable;
    }

    /// The next data at or after `from`, and where it ends.
    bool findsData(off_t from, off_t& data, off_t& hole) const {
        if (from >= size_)
            return false;
        data = ::lseek(source_, from, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            return false;
        hole = data < 0 ? -1 : ::lseek(source_, data, SEEK_HOLE);
        // A file system that cannot tell has no holes.
        if (data < 0 || hole <= data) {
            data = from;
            hole = size_;
        }
        hole = std::min(hole, size_);
        return data < hole;
    }

    DataEnd copyRange(off_t from, off_t to) {
        DataEnd end = DataEnd::copied;
        while (end == DataEnd::copied && from < to && !isAtEnd_) {
            const off_t start = from;
            const off_t next = from + std::min(to - from, bytesAtOnce_);
            end = copyInKernel(from, next) ? DataEnd::copied : copyThroughMemory(from, next);
            // The disk writes while the next part is read, and has little left to do in the end.
            if (from - start == bytesAtOnce_)
                ::sync_file_range(target_, start, bytesAtOnce_, SYNC_FILE_RANGE_WRITE);
            if (end == DataEnd::copied)
                end = report(from);
        }
        return end;
    }

    /// False when the rest, from `from` on, must go another way. Whatever the reason is: if it is
    /// a fault, it shows there again, and whether it is one of reading or of writing.
    bool copyInKernel(off_t& from, off_t to) const {
        while (from < to) {
            off_t into = from;
            const ssize_t count = ::copy_file_range(source_, &from, target_, &into,
                                                    static_cast<size_t>(to - from), 0);
            if (count == 0 || (count < 0 && errno != EINTR))
                return false;
        }
        return true;
    }

    DataEnd copyThroughMemory(off_t& from, off_t to) {
        buffer_.resize(kBufferSize);
        while (from < to) {
            const auto most = std::min(static_cast<std::size_t>(to - from), buffer_.size());
            const ssize_t count = ::pread(source_, buffer_.data(), most, from);
            if (count < 0 && errno != EINTR)
                return DataEnd::unreadable;
            isAtEnd_ = count == 0;
            if (isAtEnd_)
                break;
            if (count > 0 && !writes(static_cast<std::size_t>(count), from))
                return DataEnd::unwritable;
        }
        return DataEnd::copied;
    }

    /// Writes the first `count` bytes of the buffer and goes on behind them.
    bool writes(std::size_t count, off_t& at) const {
        for (std::size_t done = 0; done < count;) {
            const ssize_t written = ::pwrite(target_, buffer_.data() + done, count - done, at);
            if (written < 0 && errno != EINTR)
                return false;
            done += written < 0 ? 0 : static_cast<std::size_t>(written);
            at += std::max<ssize_t>(written, 0);
        }
        return true;
    }

    DataEnd report(off_t bytes) const {
        return observer_(static_cast<std::uint64_t>(bytes)) ? DataEnd::copied : DataEnd::stopped;
    }

    const int source_;
    const int target_;
    const off_t size_;
    const bool isDense_;
    const off_t bytesAtOnce_;
    const DataObserver& observer_;
    bool isAtEnd_ = false; ///< the file was shorter than its status says
    std::vector<char> buffer_;
};

} // namespace

DataEnd copyData(const Descriptor& source, const struct stat& status, const Descriptor& target,
                 std::uint64_t bytesAtOnce, const DataObserver& observer) {
    return DataCopy(source, status, target, bytesAtOnce, observer).run();
}

} // namespace cutstack
