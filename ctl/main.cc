#include <iostream>

#include "common/standard_descriptors.h"
#include "ctl/command_line.h"

int main(int argc, char** argv) {
  webauth::occupy_standard_descriptors();
  std::ios::sync_with_stdio(false);  // uClibc's stdio tells of no failed write
  return webauth::run_webauthctl(argc, argv);
}
