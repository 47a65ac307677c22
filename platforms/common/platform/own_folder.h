// Folders that nobody but the caller's user can put anything into: his own, no links, and not for others to
// write to. What lies in one is opened relative to its descriptor.
#ifndef PLATFORM_OWN_FOLDER_H
#define PLATFORM_OWN_FOLDER_H

#include <string>
#include <string_view>

// Opens the folder at `path`; the folders on the way are taken as they are. Returns its descriptor, or -1
// with errno set. For a folder that is refused that is EPERM, or ELOOP for a link, and `problem` says what it
// is, in words behind its path; otherwise `problem` is empty.
int own_folder_open(const std::string &path, std::string *problem);

// The same for a folder below the open folder `root`: each one on the way has to be the caller's own, too.
// `path` begins with a slash; an empty one is the root itself, which is not looked at again.
int own_folder_below(int root, std::string_view path, std::string *problem);

#endif
