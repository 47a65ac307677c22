// The metrics over HTTP: GET and HEAD of /metrics.
#ifndef KELVANED_METRICS_HTTP_DOOR_H
#define KELVANED_METRICS_HTTP_DOOR_H

#include <functional>
#include <string>

// Listens at "HOST:PORT", "[IPv6]:PORT", or at a port of the loopback. -1 with a problem; otherwise `where`
// is what others reach it by, with the port that it got.
int listen_http(std::string *where, std::string *problem);

// Serves on a thread of its own until the process ends. `make_text` is called on it, at most ten times a
// second; an empty text is a service that cannot answer. False when the thread cannot be started.
bool serve_http(int listening, std::function<std::string()> make_text);

#endif
