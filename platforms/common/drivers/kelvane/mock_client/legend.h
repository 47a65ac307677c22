#ifndef MOCK_CLIENT_LEGEND_H
#define MOCK_CLIENT_LEGEND_H

// The device numbers and the commands, on standard output.
void client_print_legend();

#endif
