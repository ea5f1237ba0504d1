#include "gate/command_line.h"

int main(int argc, char** argv) { return webauth::run_webauth_gate(argc, argv); }
