#include "portal/portal_loop.h"

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/neighbour.h"
#include "common/service_ready.h"
#include "common/standard_descriptors.h"
#include "daemon/platform/settings_store.h"
#include "portal/daemon_channel.h"
#include "portal/routes.h"
#include "portal/waiting.h"

namespace webauth {
namespace {

constexpr std::uint64_t SIGNAL_TAG = LISTENER_TAGS;
constexpr std::uint64_t DESK_TAG = LISTENER_TAGS + 1;

// Descriptors beside those of the visitors: listeners, log, daemon, files while they are read.
constexpr rlim_t OTHER_DESCRIPTORS = 24;

int check_descriptor(int fd, const char* what) {
  if (fd < 0) throw std::runtime_error(std::string("cannot open ") + what + ": " + strerror(errno));
  return fd;
}

int open_signals(int epoll) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int fd =
      check_descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "the signals");
  epoll_event event{.events = EPOLLIN, .data{.u64 = SIGNAL_TAG}};
  (void)epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
  return fd;
}

// As many places as there may be descriptors.
void fit_bounds(ConnectionBounds& bounds) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::max(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, 1024));
  (void)setrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t room = limit.rlim_cur > OTHER_DESCRIPTORS ? limit.rlim_cur - OTHER_DESCRIPTORS : 1;
  bounds.all = static_cast<std::size_t>(std::min<rlim_t>(bounds.all, room));
}

std::string with_port(const std::string& host, unsigned port, unsigned usual) {
  return port == usual ? host : host + ':' + std::to_string(port);
}

void name_hosts(Portal& portal) {
  const PortalOptions& options = portal.options;
  const std::string address = ip_text(portal.lan.networks.front().address);
  portal.hosts = {address, address + ':' + std::to_string(options.port)};
  portal.url = "http://" + with_port(address, options.port, 80) + '/';
  if (options.name.empty()) return;
  portal.hosts.push_back(options.name);
  portal.hosts.push_back(options.name + ':' + std::to_string(options.tls_port));
  portal.url = "https://" + with_port(options.name, options.tls_port, 443) + '/';
}

void report(const Portal& portal, const std::string& text) {
  log_line(portal.log, LOG_ERR, text);
  (void)std::fprintf(stderr, "webauth-portal: %s\n", text.c_str());
}

TlsContext load_certificate(const Portal& portal) {
  TlsContext context = load_tls_context(portal.options.certificate, portal.options.key);
  if (is_out_of_date(context.get())) {
    report(portal, portal.options.certificate + " is not valid today: browsers will warn of it");
  }
  return context;
}

void take_branding(Portal& portal, Branding&& branding) {
  portal.branding = std::move(branding);
  portal.server.policy = portal.branding.policy;
}

// What does not load is told, and the old stays.
void reload(Portal& portal) {
  try {
    Branding branding = load_branding(portal.options.config);
    for (const std::string& complaint : branding.complaints) report(portal, complaint);
    if (branding.complaints.empty()) take_branding(portal, std::move(branding));
  } catch (const std::runtime_error& error) {
    report(portal, error.what());
  }
  try {
    if (portal.server.tls) portal.server.tls = load_certificate(portal);
  } catch (const std::runtime_error& error) {
    report(portal, error.what());
  }
}

// True when the process is asked to end.
bool serve_signals(Portal& portal, int signals) {
  signalfd_siginfo signal{};
  while (read(signals, &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo != SIGHUP) return true;
    reload(portal);
  }
  return false;
}

void set_up(Portal& portal) {
  open_log(portal.log);
  if (!nvram_open()) throw std::runtime_error("the settings cannot be read");
  portal.lan = read_lan(portal.options.lan);
  if (portal.lan.index == 0) throw std::runtime_error("there is no interface " + portal.lan.name);
  if (portal.lan.networks.empty()) {
    throw std::runtime_error(portal.lan.name + " has no IPv4 address");
  }
  portal.lan_read_at = steady_microseconds();
  name_hosts(portal);
  take_branding(portal, load_branding(portal.options.config));
  for (const std::string& complaint : portal.branding.complaints) report(portal, complaint);
  portal.token_key = make_token_key();
  portal.neighbours = check_descriptor(open_neighbour_socket(), "the neighbour table");
  portal.desk.control = check_descriptor(open_control_channel(), "a socket");
  portal.desk.epoll = portal.server.epoll;
  portal.desk.tag = DESK_TAG;
  portal.desk.hooks = make_desk_hooks(portal);
}

void open_server(Portal& portal) {
  ConnectionServer& server = portal.server;
  server.handlers = {
      .judge = [&portal](const Visit& visit) { return judge_request(portal, visit); },
      .serve = [&portal](const Visit& visit) { return serve_request(portal, visit); },
      .displaced =
          [&portal](std::uint32_t ip) {
            log_refusal(portal.log, Cause::DISPLACED, ip, steady_microseconds());
          }};
  fit_bounds(server.bounds);
  make_places(server);
  const std::uint32_t address = portal.lan.networks.front().address;
  std::string where = ip_text(address) + ':' + std::to_string(portal.options.port);
  if (!portal.options.name.empty()) {
    server.tls = load_certificate(portal);
    listen_at(server, address, portal.options.tls_port, true);
    where += " and " + portal.url;
  }
  listen_at(server, address, portal.options.port, false);
  log_line(portal.log, LOG_INFO, "serving on " + where);
  std::printf("webauth-portal: serving on %s\n", where.c_str());
  (void)std::fflush(stdout);
}

// Everything that is due. Returns for how long epoll may wait, in milliseconds.
int serve_clock(Portal& portal) {
  const std::int64_t now = steady_microseconds();
  advance(portal.desk, now);
  std::int64_t next = settle_waiting(portal, now);
  expire_connections(portal.server, now);
  next = std::min({next, next_deadline(portal.desk), next_deadline(portal.server)});
  if (next == std::numeric_limits<std::int64_t>::max()) return -1;
  const std::int64_t left = std::max<std::int64_t>(next - steady_microseconds(), 0);
  return static_cast<int>(std::min<std::int64_t>((left + 999) / 1'000, INT_MAX));
}

int serve(Portal& portal, int signals) {
  epoll_event ready[64];
  for (;;) {
    const int count = epoll_wait(portal.server.epoll, ready, std::size(ready), serve_clock(portal));
    portal.list.is_fresh = false;  // one look a pass
    for (int i = 0; i < count; ++i) {
      const std::uint64_t tag = ready[i].data.u64;
      if (tag == SIGNAL_TAG) {
        if (serve_signals(portal, signals)) return 0;
      } else if (tag < LISTENER_TAGS) {
        accept_connections(portal.server, tag != 0);
      } else if (tag != DESK_TAG) {  // the desk goes on by itself, before the next wait
        serve_connection(portal.server, tag, ready[i].events);
      }
    }
  }
}

}  // namespace

int run_portal(const PortalOptions& options) {
  occupy_standard_descriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  Portal portal;
  portal.options = options;
  portal.server.epoll = check_descriptor(epoll_create1(EPOLL_CLOEXEC), "epoll");
  const FdGuard signals(open_signals(portal.server.epoll));
  set_up(portal);
  open_server(portal);
  tell_service_ready();
  return serve(portal, signals.get());
}

}  // namespace webauth
