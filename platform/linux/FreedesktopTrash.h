#pragma once

// The trash that the desktops share (freedesktop.org's, version 1.0). A thing goes to a trash
// folder on its own file system:
//
//     on the file system of the home trash   DATA/Trash, where DATA is $XDG_DATA_HOME
//                                            or ~/.local/share
//     on another one, which begins at TOP    TOP/.Trash/UID, where an administrator has made
//                                            TOP/.Trash with the sticky bit; else TOP/.Trash-UID
//
// Where a file system begins is where the device number changes on the way up. What is missing of a
// trash folder is made, for its user alone; the home folder itself and TOP/.Trash are not.

#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Trash.h"

#include <sys/types.h>

namespace cutstack {

/// Whose trash it is, and where the user keeps data. Folders are absolute.
struct TrashOwner {
    uid_t userId = 0;
    std::optional<std::string> homeFolder;
    std::optional<std::string> dataFolder; ///< nothing for the usual one in the home folder
};

class FreedesktopTrash final : public Trash {
public:
    /// `clock` is not owned and tells the local time that is noted.
    FreedesktopTrash(TrashOwner owner, const Clock& clock);

    /// Any thread, as long as the clock allows it.
    [[nodiscard]] bool moveToTrash(const std::string& path, std::string& error) override;

private:
    struct Item;
    struct Place;

    [[nodiscard]] std::optional<Place> homePlace() const;
    [[nodiscard]] std::vector<Place> placesAtTopOf(const Item& item) const;
    [[nodiscard]] std::string refusalOf(const Item& item, const std::vector<Place>& places) const;
    [[nodiscard]] bool moveInto(const std::vector<Place>& places, const Item& item,
                                std::string& error) const;
    [[nodiscard]] std::string noteOn(const Item& item, const Place& place) const;

    const TrashOwner owner_;
    const Clock& clock_;
};

} // namespace cutstack
