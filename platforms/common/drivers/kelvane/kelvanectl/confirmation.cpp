#include "kelvanectl/confirmation.h"

#include <iostream>

#include <unistd.h>

#include "kelvanectl/text/output.h"

exit_status confirm(const tool &tool, const std::string &what)
{
    if (tool.options.yes) {
        return STATUS_DONE;
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        return fail_usage(what + "; without a terminal to ask on, --yes is needed. Nothing was sent",
                          tool.options.as_json);
    }
    fprintf(stderr, "%s. Go on? [y/N] ", printable(what).c_str());
    std::string said;
    std::getline(std::cin, said);
    if (said == "y" || said == "Y" || said == "yes") {
        return STATUS_DONE;
    }
    output_problem("nothing was sent");
    return STATUS_FAILED;
}
