// kelvaned: owns the card, and lets many use it.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <map>
#include <string>

#include <systemd/sd-daemon.h>
#include <unistd.h>

#include "control/card_owner.h"
#include "control/descriptor_passing.h"
#include "control/open_rpc.h"
#include "kelvaned/listening.h"
#include "kelvaned/metrics/http_door.h"
#include "kelvaned/service.h"

namespace {

constexpr int STATUS_FAILED = 1;
constexpr int STATUS_USAGE = 2;

struct options {
    host_kind kind = host_kind::ethernet;
    std::string socket;
    std::string http;
    std::string record;
};

int fail(const std::string &problem)
{
    fprintf(stderr, "kelvaned: %s\n", problem.c_str());
    return STATUS_FAILED;
}

// -1 with a problem; a socket of systemd's has no path of ours.
int open_socket(std::string *path, std::string *problem)
{
    if (sd_listen_fds(1) == 1) {
        path->clear();
        return SD_LISTEN_FDS_START;
    }
    if (path->empty()) {
        *path = service_socket_path();
        *problem = make_usual_folder();
    }
    return problem->empty() ? listen_at(*path, problem) : -1;
}

int serve(int argc, char **argv)
{
    options options;
    CLI::App app("Owns the card and lets many use it: JSON-RPC, a line each way, over a Unix socket.\n"
                 "KELVANE_HOST_ROOT names the host's tree of a simulated card.");
    app.add_option("--host-kind", options.kind, "what the host ports carry: ethernet (the default) or otn")
        ->transform(
            CLI::CheckedTransformer(
                std::map<std::string, host_kind>{{"ethernet", host_kind::ethernet}, {"otn", host_kind::otn}},
                CLI::ignore_case)
                .description(""))
        ->type_name("KIND");
    app.set_version_flag("--version", library_version(), "its version, which is the library's");
    app.add_option("--socket", options.socket, "where to listen, instead of /run/kelvane/kelvaned.sock")
        ->type_name("PATH");
    app.add_option("--http", options.http,
                   "where to serve metrics for Prometheus, at /metrics; a port alone is one of the loopback")
        ->type_name("HOST:PORT");
    app.add_option("--record", options.record,
                   "record all that crosses the link in this file; the one before becomes FILE.1")
        ->type_name("FILE");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &wrong) {
        return app.exit(wrong) == 0 ? 0 : STATUS_USAGE;
    }
    dup2(STDERR_FILENO, STDOUT_FILENO); // for what the library prints
    std::string problem;
    const int for_metrics = options.http.empty() ? -1 : listen_http(&options.http, &problem);
    const int listening = problem.empty() ? open_socket(&options.socket, &problem) : -1;
    if (listening < 0) {
        return fail(problem);
    }
    if (!options.record.empty()) {
        problem = record_card(options.record);
        if (!problem.empty()) {
            return fail(problem);
        }
    }
    fprintf(stderr, "kelvaned: listens%s%s\n", options.socket.empty() ? "" : " at ", options.socket.c_str());
    sd_notify(0, "READY=1");
    service service(listening, options.socket, options.kind);
    if (for_metrics >= 0) {
        if (!service.serve_metrics(for_metrics)) {
            return fail("cannot serve metrics");
        }
        fprintf(stderr, "kelvaned: metrics at http://%s/metrics\n", options.http.c_str());
    }
    service.run();
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return serve(argc, argv);
    } catch (const std::exception &wrong) { // of the libraries: no memory, no descriptor
        return fail(wrong.what());
    }
}
