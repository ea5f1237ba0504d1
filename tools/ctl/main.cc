#include "ctl/command_line.h"

int main(int argc, char** argv) { return webauth::run_webauthctl(argc, argv); }
