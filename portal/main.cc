#include "portal/command_line.h"

int main(int argc, char** argv) { return webauth::run_webauth_portal(argc, argv); }
