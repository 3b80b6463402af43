#include "tools/ditto/ZipArchive.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unicode/ustring.h>
#include <unistd.h>
#include <vector>

#include "platform/SystemErrors.h"
#include "support/FileTree.h"
#include "support/FolderListing.h"
#include "tools/ditto/ArchiveFile.h"

namespace cutstack::ditto {

namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{256} * 1024;

using Archive = std::unique_ptr<archive, int (*)(archive*)>;
using Entry = std::unique_ptr<archive_entry, void (*)(archive_entry*)>;

bool isUtf8(const std::string& text) {
    UErrorCode fault = U_ZERO_ERROR;
    u_strFromUTF8(nullptr, 0, nullptr, text.data(), static_cast<std::int32_t>(text.size()), &fault);
    return fault != U_INVALID_CHAR_FOUND;
}

/// Writes the items of a walk into an archive.
class ZipWriter final : public FileTreeVisitor {
public:
    /// `top` is the walk's, `name` that of its top in the archive; empty for none.
    ZipWriter(std::string top, std::string name, const ArchiveFile& file)
        : top_(std::move(top)), name_(std::move(name)), file_(file) {}

    [[nodiscard]] bool open();
    /// Writes the archive's end.
    [[nodiscard]] bool close();

    int visit(const FileTreeItem& item) override;
    int leave(const FileTreeItem& folder, int fault) override {
        return fault == 0 || fault == ENOENT ? 0 : fail(folder, wordingOf(fault));
    }

    [[nodiscard]] const std::string& error() const { return error_; }

private:
    [[nodiscard]] std::string nameInArchive(const FileTreeItem& item) const;
    int fail(const FileTreeItem& item, const std::string& reason);
    int failByArchive(const FileTreeItem& item);
    int addFile(const FileTreeItem& item, archive_entry* entry);
    int addLink(const FileTreeItem& item, archive_entry* entry);
    int addContent(const FileTreeItem& item, int file, std::int64_t size);

    const std::string top_;
    const std::string name_;
    const ArchiveFile& file_;
    Archive archive_{archive_write_new(), &archive_write_free};
    std::vector<char> bytes_ = std::vector<char>(kBytesAtOnce);
    std::string error_;
};

bool ZipWriter::open() {
    const bool isOpen =
        archive_ && archive_write_set_format_zip(archive_.get()) == ARCHIVE_OK &&
        archive_write_set_bytes_per_block(archive_.get(), kBytesAtOnce) == ARCHIVE_OK &&
        archive_write_set_bytes_in_last_block(archive_.get(), 1) == ARCHIVE_OK &&
        archive_write_open_fd(archive_.get(), file_.descriptor()) == ARCHIVE_OK;
    if (!isOpen)
        error_ = archive_ ? archive_error_string(archive_.get()) : wordingOf(ENOMEM);
    return isOpen;
}

bool ZipWriter::close() {
    if (archive_write_close(archive_.get()) == ARCHIVE_OK)
        return true;
    error_ = archive_error_string(archive_.get());
    return false;
}

std::string ZipWriter::nameInArchive(const FileTreeItem& item) const {
    if (item.path.empty() || name_.empty())
        return item.path.empty() ? name_ : item.path;
    return pathInFolder(name_, item.path);
}

int ZipWriter::fail(const FileTreeItem& item, const std::string& reason) {
    error_ = (item.path.empty() ? top_ : pathInFolder(top_, item.path)) + ": " + reason;
    return EIO;
}

int ZipWriter::failByArchive(const FileTreeItem& item) {
    return fail(item, std::string("could not be put into the archive: ") +
                          archive_error_string(archive_.get()));
}

int ZipWriter::visit(const FileTreeItem& item) {
    const std::string name = nameInArchive(item);
    if (name.empty() || file_.isMeantBy(item.status))
        return 0;
    if (!isUtf8(name))
        return fail(item, "the name is not UTF-8");
    const Entry entry(archive_entry_new(), &archive_entry_free);
    if (!entry)
        return fail(item, wordingOf(ENOMEM));
    archive_entry_set_pathname(entry.get(), name.c_str());
    archive_entry_copy_stat(entry.get(), &item.status);
    if (S_ISREG(item.status.st_mode))
        return addFile(item, entry.get());
    if (S_ISLNK(item.status.st_mode))
        return addLink(item, entry.get());
    if (!S_ISDIR(item.status.st_mode))
        return fail(item, "neither a file, a folder nor a link");
    return archive_write_header(archive_.get(), entry.get()) == ARCHIVE_OK ? 0
                                                                           : failByArchive(item);
}

int ZipWriter::addFile(const FileTreeItem& item, archive_entry* entry) {
    // Not waiting, should a pipe have taken the file's place.
    const int file =
        ::openat(item.folder, item.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return errno == ENOENT ? 0 : fail(item, wordingOf(errno));
    struct stat status {};
    int end = 0;
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        end = fail(item, wordingOf(ESTALE));
    } else {
        archive_entry_copy_stat(entry, &status);
        end = archive_write_header(archive_.get(), entry) == ARCHIVE_OK
                  ? addContent(item, file, status.st_size)
                  : failByArchive(item);
    }
    ::close(file);
    return end;
}

/// As many bytes as the file had when it was opened; one that grows is cut off there.
int ZipWriter::addContent(const FileTreeItem& item, int file, std::int64_t size) {
    while (size > 0) {
        const auto wanted = std::min(bytes_.size(), static_cast<std::size_t>(size));
        const ssize_t count = ::read(file, bytes_.data(), wanted);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return fail(item, wordingOf(errno));
        if (count == 0)
            return fail(item, "became shorter while it was read");
        const auto read = static_cast<std::size_t>(count);
        if (archive_write_data(archive_.get(), bytes_.data(), read) != count)
            return failByArchive(item);
        size -= count;
    }
    return 0;
}

int ZipWriter::addLink(const FileTreeItem& item, archive_entry* entry) {
    const ssize_t length =
        ::readlinkat(item.folder, item.name.c_str(), bytes_.data(), bytes_.size());
    if (length < 0)
        return errno == ENOENT ? 0 : fail(item, wordingOf(errno));
    const std::string target(bytes_.data(), static_cast<std::size_t>(length));
    archive_entry_set_symlink(entry, target.c_str());
    return archive_write_header(archive_.get(), entry) == ARCHIVE_OK ? 0 : failByArchive(item);
}

/// What the top of the walk is called in the archive.
std::string nameOfTop(const std::string& source, bool keepsParent) {
    std::error_code fault;
    const bool isFolder = std::filesystem::symlink_status(source, fault).type() ==
                          std::filesystem::file_type::directory;
    if (!isFolder)
        return std::string(fileNameOf(source));
    // "." and ".." have names too.
    return keepsParent ? std::filesystem::canonical(source, fault).filename().string() : "";
}

} // namespace

bool makeZipArchive(const std::string& source, const std::string& destination, bool keepsParent,
                    std::string& error) {
    const std::string top = withoutSlashAtEnd(source);
    ArchiveFile file(destination);
    if (!file.create()) {
        error = destination + ": " + wordingOf(errno);
        return false;
    }
    ZipWriter writer(top, nameOfTop(top, keepsParent), file);
    if (!writer.open()) {
        error = destination + ": " + writer.error();
        return false;
    }
    const int fault = walkTree(top, writer);
    if (fault != 0) {
        error = writer.error().empty() ? source + ": " + wordingOf(fault) : writer.error();
        return false;
    }
    if (!writer.close() || !file.putInPlace()) {
        error = destination + ": " + (writer.error().empty() ? wordingOf(errno) : writer.error());
        return false;
    }
    return true;
}

} // namespace cutstack::ditto
