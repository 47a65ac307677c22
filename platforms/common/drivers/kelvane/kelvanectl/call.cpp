// Operations by the names that they have in the library.
#include <unistd.h>

#include "control/open_rpc.h"
#include "kelvanectl/subcommand.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr const char *ADDRESSES[] = {"", " ADDRESS", " sirane/N", " module/N", " host/N.P"};

void add_call(CLI::App &app, command_options &options)
{
    app.add_option("METHOD", options.method, "its name, of those that `methods` lists")->required();
    app.add_option("JSON", options.parameters, R"(its parameters by their names, {"address":"module/0"})");
}

exit_status call(const tool &tool)
{
    const json parameters = json::parse(tool.options.parameters, nullptr, false);
    if (!parameters.is_object()) {
        return fail_usage("the parameters are no JSON object: " + tool.options.parameters,
                          tool.options.as_json);
    }
    if (tool.options.method == "download_software") {
        return fail_usage("an image comes with `kelvanectl firmware download`", tool.options.as_json);
    }
    answer answer = tool.card.ask(tool.options.method, parameters);
    if (answer.file >= 0) { // `kelvanectl logs` shows what is in it
        close(answer.file);
    }
    return output_answer(answer, tool.options.as_json);
}

exit_status list_methods(const tool &tool)
{
    if (tool.options.as_json) {
        output_json(open_rpc_document(tool.options.kind, json::array()));
        return STATUS_DONE;
    }
    for (const operation &it : all_operations()) {
        std::string line = bold(it.name) + ADDRESSES[static_cast<size_t>(it.address)];
        for (const parameter &one : it.in) {
            line += std::string(one.may_lack ? " [" : " ") + one.name + (one.may_lack ? "]" : "");
        }
        output_line(line + "\n    " + it.sentence);
    }
    return STATUS_DONE;
}

} // namespace

const subcommand CALL = {"call", "Runs one operation of the library by its name.", add_call, call};
const subcommand METHODS = {"methods", "Lists the operations, and what they need.", add_nothing,
                            list_methods};
