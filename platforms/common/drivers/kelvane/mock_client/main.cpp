#include "mock_client/client.h"

int main(int argc, char **argv)
{
    return client_main(argc, argv);
}
