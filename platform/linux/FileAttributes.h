#pragma once

// What belongs to a file beside its bytes: owner, permissions, times, extended attributes with the
// access lists among them. What the file system of the copy cannot keep, or the system does not
// permit, is left out; what cannot be kept never gives anybody more rights than the original does.
// Any thread.

#include <string>

#include <sys/stat.h>

#include "platform/linux/Descriptor.h"

namespace cutstack {

/// Makes those of the open file or folder `target` what they are for `source`, whose status is
/// `status`. Security labels are not copied: they belong to a place, and rights to programs.
///
/// Where the owner cannot be kept, nothing stays set-id; where the group or the access list cannot,
/// the group may only do what everybody may. Returns false with errno set when something fails for
/// another reason, such as a full disk; some attributes may be set then.
[[nodiscard]] bool copyAttributes(const Descriptor& source, const struct stat& status,
                                  const Descriptor& target);

/// Makes owner and times of the link `name` in the open folder `folder` those of `status`, where
/// that is possible.
void copyLinkAttributes(const struct stat& status, const Descriptor& folder,
                        const std::string& name);

/// Takes from the new file or folder the access lists that it has got from the folder around it.
void dropInheritedAccess(const Descriptor& target);

} // namespace cutstack
