// The socket at which the service listens.
#ifndef KELVANED_LISTENING_H
#define KELVANED_LISTENING_H

#include <string>

// Makes the folders that lead to the usual socket. Empty when they are there, otherwise what is wrong.
std::string make_usual_folder();

// Listens at `path`, in place of a service that died. Its user and the group "kelvane", where there is one,
// may connect. Returns the descriptor, or -1 with `problem` saying what is wrong: another service has the
// path. What a process listens at is its own until it ends; once in a process.
int listen_at(const std::string &path, std::string *problem);

#endif
