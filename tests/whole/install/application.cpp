// The same in C++: the header serves both, and the operations keep their C names.
#include "application.c"
