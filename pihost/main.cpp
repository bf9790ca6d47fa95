// marrowline-host: runs the filter plug-in on a PNG picture through the
// published plug-in interface. See host_options.cpp for the command line.
#include "pihost/host_program.h"

int main(int argc, char** argv) { return runHostProgram(argc, argv); }
