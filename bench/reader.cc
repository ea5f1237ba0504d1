#include "bench/reader.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/program.h"

namespace webauth {

Reader::Reader(int socket) {
  sched_getaffinity(0, sizeof processors_before_, &processors_before_);
  cpu_set_t this_one;
  CPU_ZERO(&this_one);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &this_one);
  sched_setaffinity(0, sizeof this_one, &this_one);
  child_ = fork();
  require(child_ >= 0, "fork");
  if (child_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const sched_param no_priority{};
    sched_setscheduler(0, SCHED_BATCH, &no_priority);
    char buffer[2048];
    for (;;) (void)recv(socket, buffer, sizeof buffer, 0);
  }
  close(socket);
}

Reader::~Reader() {
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
  sched_setaffinity(0, sizeof processors_before_, &processors_before_);
}

}  // namespace webauth
