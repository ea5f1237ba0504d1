#include "common/standard_descriptors.h"
#include "ctl/command_line.h"

int main(int argc, char** argv) {
  webauth::occupy_standard_descriptors();
  return webauth::run_webauthctl(argc, argv);
}
