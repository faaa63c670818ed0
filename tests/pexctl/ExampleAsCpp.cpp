// The example program compiled as C++, its main renamed for the test.
#define main kelix_example_cpp
#include "../../examples/set_and_get.c"
