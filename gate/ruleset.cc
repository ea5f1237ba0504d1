#include "gate/ruleset.h"

#include <nftables/libnftables.h>

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <memory>
#include <stdexcept>

#include "gate/policy_set.h"

namespace webauth {
namespace {

constexpr std::size_t LONGEST_INTERFACE_NAME = 15;

struct ContextFree {
  void operator()(nft_ctx* context) const { nft_ctx_free(context); }
};

// Returns the empty text, or why nft refuses.
std::string run(const std::string& commands) {
  const std::unique_ptr<nft_ctx, ContextFree> context(nft_ctx_new(NFT_CTX_DEFAULT));
  if (!context) return "no memory";
  nft_ctx_buffer_error(context.get());
  nft_ctx_buffer_output(context.get());
  if (nft_run_cmd_from_buffer(context.get(), commands.c_str()) == 0) return "";
  const std::string reason = nft_ctx_get_error_buffer(context.get());
  return reason.empty() ? "no reason given" : reason.substr(0, reason.find('\n'));
}

std::string table_text() {
  std::string text = "add table inet webauth\n";
  for (const SetShape& set : SET_SHAPES) {
    text += std::string("add set inet webauth ") + set.name + " { type " + set.type + "; " +
            set.properties + " }\n";
  }
  return text;
}

// Declares a chain and empties it of an earlier load's rules.
std::string chain_text(const std::string& chain, const std::string& hook = "") {
  return "add chain inet webauth " + chain + ' ' + hook + "\nflush chain inet webauth " + chain +
         '\n';
}

std::string rules_text(const char* chain, std::initializer_list<std::string> rules) {
  std::string text;
  for (const std::string& rule : rules) {
    text += std::string("add rule inet webauth ") + chain + ' ' + rule + '\n';
  }
  return text;
}

std::string log_text(const char* prefix, int bytes) {
  return std::string("log prefix \"") + prefix + "\" group " + std::to_string(LOG_GROUP) +
         " snaplen " + std::to_string(bytes);
}

// An answer to a source that is not behind the LAN would go out by another interface, with what a
// held-back client wrote in it.
constexpr char IS_SPOOFED[] = "fib saddr . iif oif missing";

// What becomes of packets that nothing lets pass.
std::string refuse_rules(const RulesetOptions& options) {
  std::string text =
      rules_text("refuse", {"ip saddr @grace_ips drop", "ether saddr @grace_macs drop",
                            std::string(IS_SPOOFED) + " drop"});
  if (!options.refuse) return text + rules_text("refuse", {"drop"});
  return text + rules_text("refuse", {"meta l4proto tcp reject with tcp reset",
                                      "reject with icmpx admin-prohibited"});
}

// One client that makes up sources could fill the sets that all share, and keep the gate busy: what
// is new beyond this is not noted, nor are new IPv6 addresses answered, until a later packet of it.
constexpr char NEW_IP6[] = "limit rate over 5/second burst 32 packets";
constexpr char NEW_IPS_OF_MAC[] = "limit rate over 100/second burst 32768 packets";
constexpr char NEW_IPS[] = "limit rate over 5000/second burst 65536 packets";

// An update that fails, since its set is full, ends its rule: so none stands in a rule that
// accepts.
std::string user_rules() {
  return rules_text("user_ok",
                    {"ip saddr . ether saddr @bound goto user_known", "ip saddr != @unbound return",
                     "ip saddr != @asked " + log_text(LOG_USER, 20), "add @asked { ip saddr }",
                     "goto user_known"}) +
         rules_text("user_known", {"update @seen_users { ip saddr }", "accept"});
}

std::string ip6_rules() {
  return rules_text("ip6_seen",
                    {"update @seen_macs_ip6 { ether saddr }",
                     "ether saddr . ip6 saddr @seen_ip6 goto ip6_known",
                     std::string("update @ip6_rate { ether saddr ") + NEW_IP6 + " } return",
                     log_text(LOG_IP6, 40), "goto ip6_known"}) +
         rules_text("ip6_known", {"update @seen_ip6 { ether saddr . ip6 saddr }",
                                  "update @ip6_ok { ip6 saddr }"}) +
         rules_text("user_ip6_ok", {"jump ip6_seen", "accept"});
}

std::string listed_rules() {
  return rules_text("mac_ok",
                    {"meta nfproto ipv6 jump ip6_seen", "meta nfproto ipv6 accept",
                     "ether saddr . ip saddr @seen_macs goto mac_known",
                     std::string("update @mac_rate { ether saddr ") + NEW_IPS_OF_MAC + " } accept",
                     log_text(LOG_MAC, 20), "goto mac_known"}) +
         rules_text("mac_known", {"update @seen_macs { ether saddr . ip saddr }",
                                  "update @mac_ips { ip saddr }", "accept"}) +
         rules_text("ip_ok", {"ip saddr @seen_ips goto ip_known", std::string(NEW_IPS) + " accept",
                              log_text(LOG_IP, 20), "goto ip_known"}) +
         rules_text("ip_known", {"update @seen_ips { ip saddr }", "accept"});
}

// Both directions are checked before any connection's state, so that a cut is immediate.
std::string forward_rules(const RulesetOptions& options) {
  const std::string lan = '"' + options.lan + '"';
  const std::string ip6 = std::string("meta nfproto ipv6 ether saddr @user_macs goto ") +
                          (options.ipv6 ? "user_ip6_ok" : "refuse");
  return rules_text("from_lan", {"ip saddr @users jump user_ok", "ether saddr @macs goto mac_ok",
                                 ip6, "ip saddr @ips goto ip_ok", "ip daddr @garden accept",
                                 "ip daddr @garden_learned accept", "goto refuse"}) +
         rules_text(
             "to_lan",
             {"ip daddr @users accept", "ip daddr @ips accept", "ip daddr @mac_ips accept",
              "ip6 daddr @ip6_ok accept", "ip saddr @garden ct state established,related accept",
              "ip saddr @garden_learned ct state established,related accept", "drop"}) +
         rules_text("forward",
                    {"iifname " + lan + " oifname " + lan + " return",
                     "iifname " + lan + " goto from_lan", "oifname " + lan + " goto to_lan"});
}

// To the router itself. Replies to what the router asks are let in, not more of what a client
// began.
constexpr char NEIGHBOUR_DISCOVERY[] =
    "icmpv6 type { nd-router-solicit, nd-neighbor-solicit, nd-neighbor-advert, "
    "mld-listener-report, mld2-listener-report } accept";

std::string input_rules(const RulesetOptions& options) {
  const std::string ports =
      std::to_string(options.portal_port) + ", " + std::to_string(options.portal_tls_port);
  return rules_text("to_router",
                    {"ct direction reply ct state established,related accept",
                     "ip saddr @users ip saddr . ether saddr @bound accept",
                     "ip saddr @users ip saddr @unbound accept", "ether saddr @macs accept",
                     "ip saddr @ips accept",
                     options.ipv6 ? "meta nfproto ipv6 ether saddr @user_macs accept" : "continue",
                     "udp dport 67 accept", "ip6 saddr fe80::/10 udp dport 547 accept",
                     NEIGHBOUR_DISCOVERY, std::string(IS_SPOOFED) + " drop", "udp dport 53 accept",
                     "tcp dport { 53, " + ports + " } accept",
                     "icmp type echo-request limit rate 20/second accept",
                     "icmpv6 type echo-request limit rate 20/second accept", "goto refuse"}) +
         rules_text("input", {"iifname \"" + options.lan + "\" goto to_router"});
}

// Held-back clients' web and name requests end at the router; but not those between two of them
// that a bridge hands to the rules.
std::string nat_rules(const RulesetOptions& options) {
  const std::string lan = '"' + options.lan + '"';
  return rules_text(
      "prerouting",
      {"iifname != " + lan + " return", "meta nfproto != ipv4 return",
       "ip saddr @users ip saddr . ether saddr @bound return",
       "ip saddr @users ip saddr @unbound return", "ether saddr @macs return",
       "ip saddr @ips return", "ip daddr @garden return", "ip daddr @garden_learned return",
       "fib daddr type local return", "fib daddr oifname " + lan + " return",
       "tcp dport 80 redirect to :" + std::to_string(options.portal_port),
       "meta l4proto { tcp, udp } th dport 53 redirect to :53"});
}

std::string answer_rules(const RulesetOptions& options) {
  if (!options.watch_names) return "";
  return rules_text("answers", {"oifname \"" + options.lan +
                                "\" udp sport 53 limit rate 2000/second burst 1000 packets " +
                                log_text(LOG_DNS, 1500)});
}

std::string ruleset_text(const RulesetOptions& options) {
  std::string text = table_text();
  for (const char* chain :
       {"refuse", "user_ok", "user_known", "ip6_seen", "ip6_known", "user_ip6_ok", "mac_ok",
        "mac_known", "ip_ok", "ip_known", "from_lan", "to_lan", "to_router"}) {
    text += chain_text(chain);
  }
  text += chain_text("forward", "{ type filter hook forward priority -10; policy accept; }");
  text += chain_text("input", "{ type filter hook input priority -10; policy accept; }");
  text += chain_text("prerouting", "{ type nat hook prerouting priority -110; policy accept; }");
  text += chain_text("answers", "{ type filter hook output priority -10; policy accept; }");
  return text + refuse_rules(options) + user_rules() + ip6_rules() + listed_rules() +
         forward_rules(options) + input_rules(options) + nat_rules(options) + answer_rules(options);
}

constexpr char REMOVAL[] = "add table inet webauth\ndelete table inet webauth\n";

}  // namespace

bool is_interface_name(std::string_view name) {
  constexpr std::string_view SIGNS = "._-@:+";
  return !name.empty() && name.size() <= LONGEST_INTERFACE_NAME &&
         std::all_of(name.begin(), name.end(), [&](unsigned char c) {
           return std::isalnum(c) != 0 || SIGNS.find(static_cast<char>(c)) != SIGNS.npos;
         });
}

void load_ruleset(const RulesetOptions& options, bool anew) {
  const std::string text = ruleset_text(options);
  if (!anew && run(text).empty()) return;
  const std::string reason = run(REMOVAL + text);
  if (!reason.empty()) throw std::runtime_error("nftables does not take the rules: " + reason);
}

void remove_ruleset() {
  const std::string reason = run(REMOVAL);
  if (!reason.empty()) throw std::runtime_error("nftables does not remove the rules: " + reason);
}

}  // namespace webauth
