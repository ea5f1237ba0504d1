// SPDX-License-Identifier: GPL-2.0
/*
 * A stand-in for the web-auth kernel module, for tests: it has that module's end of netlink protocol 21
 * and decides nothing. What the daemon sends goes on to a webauth-gate, at its port of NETLINK_USERSOCK;
 * what the gate sends goes to the daemon. So the daemon serves on its default road, in a real kernel.
 *
 * A datagram is handed on whole, whatever its header says: nlmsg_len is 376 in a KernelMessage of 360
 * bytes. Who sends without CAP_NET_ADMIN is not heard; only DAEMON_START makes a port the daemon's.
 * While the gate's queue is full the daemon sleeps in its sendmsg.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/capability.h>
#include <linux/kthread.h>
#include <linux/module.h>
#include <linux/net.h>
#include <linux/netlink.h>
#include <net/net_namespace.h>
#include <net/netlink.h>
#include <net/sock.h>

#define WEBAUTH_PROTOCOL 21
#define GATE_PORT 0x47415445
#define OWN_PORT 0x4c494e4b	/* of NETLINK_USERSOCK, where the gate answers */
#define MESSAGE_SIZE 360
#define COMMAND_OFFSET 20
#define DAEMON_START 6
#define LARGEST 4096

static struct sock *daemon_side;
static struct socket *gate_side;
static struct task_struct *listener;

static unsigned int daemon_port;
static unsigned int to_gate, to_daemon, refused, lost;
module_param(daemon_port, uint, 0444);
module_param(to_gate, uint, 0444);
module_param(to_daemon, uint, 0444);
module_param(refused, uint, 0444);
module_param(lost, uint, 0444);

static bool is_daemon_start(const struct sk_buff *skb)
{
	u32 command;

	if (skb->len != MESSAGE_SIZE)
		return false;
	memcpy(&command, skb->data + COMMAND_OFFSET, sizeof(command));
	return command == DAEMON_START;
}

/* Runs in the daemon's sendmsg, and may sleep there. */
static void from_daemon(struct sk_buff *skb)
{
	struct sockaddr_nl gate = { .nl_family = AF_NETLINK, .nl_pid = GATE_PORT };
	struct msghdr message = { .msg_name = &gate, .msg_namelen = sizeof(gate) };
	struct kvec bytes = { .iov_base = skb->data, .iov_len = skb->len };

	if (!netlink_capable(skb, CAP_NET_ADMIN)) {
		refused++;
		return;
	}
	if (is_daemon_start(skb))
		WRITE_ONCE(daemon_port, NETLINK_CB(skb).portid);
	if (kernel_sendmsg(gate_side, &message, &bytes, 1, skb->len) == skb->len)
		to_gate++;
	else
		lost++;
}

static void hand_to_daemon(const void *bytes, int size)
{
	unsigned int port = READ_ONCE(daemon_port);
	struct sk_buff *skb = port ? alloc_skb(size, GFP_KERNEL) : NULL;

	if (!skb) {
		lost++;
		return;
	}
	skb_put_data(skb, bytes, size);
	if (netlink_unicast(daemon_side, skb, port, 0) == size)
		to_daemon++;
	else
		lost++;
}

static int hear_gate(void *unused)
{
	static u8 buffer[LARGEST];

	while (!kthread_should_stop()) {
		struct sockaddr_nl sender = {};
		struct msghdr message = { .msg_name = &sender };
		struct kvec bytes = { .iov_base = buffer, .iov_len = sizeof(buffer) };
		int size = kernel_recvmsg(gate_side, &message, &bytes, 1, sizeof(buffer), 0);

		if (size < 0)
			continue;	/* nothing came in time */
		if (sender.nl_pid == GATE_PORT)
			hand_to_daemon(buffer, size);
		else
			refused++;
	}
	return 0;
}

static int __init webauth_link_init(void)
{
	struct sockaddr_nl own = { .nl_family = AF_NETLINK, .nl_pid = OWN_PORT };
	struct netlink_kernel_cfg config = { .input = from_daemon };
	int error = sock_create_kern(&init_net, AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK, &gate_side);

	if (error)
		return error;
	gate_side->sk->sk_rcvtimeo = HZ / 5;	/* how long an end of this module may have to wait */
	error = kernel_bind(gate_side, (struct sockaddr *)&own, sizeof(own));
	if (error)
		goto release_gate_side;
	error = -ENOMEM;
	daemon_side = netlink_kernel_create(&init_net, WEBAUTH_PROTOCOL, &config);
	if (!daemon_side)
		goto release_gate_side;
	listener = kthread_run(hear_gate, NULL, "webauth_link");
	if (!IS_ERR(listener))
		return 0;
	error = PTR_ERR(listener);
	netlink_kernel_release(daemon_side);
release_gate_side:
	sock_release(gate_side);
	return error;
}

/* Whoever has a socket of the protocol open keeps the module: no datagram is on its way now. */
static void __exit webauth_link_exit(void)
{
	kthread_stop(listener);
	netlink_kernel_release(daemon_side);
	sock_release(gate_side);
	pr_info("%u to the gate, %u to the daemon, %u refused, %u lost\n", to_gate, to_daemon, refused,
		lost);
}

module_init(webauth_link_init);
module_exit(webauth_link_exit);
MODULE_DESCRIPTION("netlink protocol 21, handed on to webauth-gate");
MODULE_LICENSE("GPL");
