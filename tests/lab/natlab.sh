#!/bin/bash
# Builds a small internet out of network namespaces, below /run/netns of whoever runs it.
#
#   natlab.sh KIND_A KIND_B [firewall]
#
#   inet   the internet, 11.22.33.0/24, on a bridge: .1 and .2 for a STUN server, .3 for a web service
#   natA   home router of A: 11.22.33.10 outside, 10.0.1.1 inside; natB likewise: .20 and 10.0.2.1
#   A, B   hosts behind them: 10.0.1.2 and 10.0.2.2
#   C      a host on the internet without a router: 11.22.33.40; with "firewall" it lets in answers only
#
# KIND of a router, by how it treats UDP:
#   full     everybody may send to a port that is in use     addr     who was sent to may answer, from any port
#   port     who was sent to may answer, from that port      sym      the same, and each destination sees another port
#   blocked  no UDP at all
#
# The addresses are real ones of somebody else's, for home routers' software refuses reserved ones outside; they exist
# only in these namespaces, which have no way out.
set -euo pipefail

in_ns() { # NAMESPACE COMMAND...
    ip netns exec "$@"
}

# A cable from a new device of one namespace to one of another; both ends up.
cable() { # NAMESPACE DEVICE NAMESPACE DEVICE
    ip link add "$2" netns "$1" type veth peer name "$4" netns "$3"
    ip -n "$1" link set "$2" up
    ip -n "$3" link set "$4" up
}

internet() {
    ip netns add inet
    ip -n inet link set lo up
    ip -n inet link add bridge type bridge
    ip -n inet link set bridge up
    for last in 1 2 3; do
        ip -n inet addr add "11.22.33.$last/24" dev bridge
    done
}

# Gives a namespace a cable to the internet, at its device "wan".
connect() { # NAMESPACE ADDRESS
    cable inet "to$1" "$1" wan
    ip -n inet link set "to$1" master bridge
    ip -n "$1" addr add "$2/24" dev wan
}

rules() { # KIND HOST
    local mapping=masquerade incoming='' forwarding=''
    case $1 in
    full) incoming="iifname wan udp dport 1024-65535 dnat to $2" ;;
    addr)
        # By the host's port, too: what one of its sockets has spoken to is no business of another's.
        incoming="iifname wan ip saddr . udp dport @spoken_to dnat to $2"
        forwarding='oifname wan meta l4proto udp update @spoken_to { ip daddr . udp sport timeout 60s }'
        ;;
    port) ;;
    sym) mapping='meta l4proto udp masquerade fully-random' ;;
    blocked) forwarding='meta l4proto udp drop' ;;
    *)
        echo "natlab.sh: no kind of router: $1" >&2
        exit 2
        ;;
    esac
    # The router itself drops what nobody asked for: a remembered stray packet would occupy the port that the host's
    # own packets are to leave from.
    cat <<RULES
table ip nat_of_$1 {
    set spoken_to { type ipv4_addr . inet_service; flags dynamic,timeout; }
    chain incoming { type nat hook prerouting priority dstnat; $incoming; }
    chain outgoing { type nat hook postrouting priority srcnat; oifname wan $mapping; oifname wan masquerade; }
    chain forwarding { type filter hook forward priority filter; $forwarding; }
    chain own { type filter hook input priority filter; iifname wan meta l4proto udp ct state new drop; }
}
RULES
}

home() { # HOST ROUTER KIND NUMBER
    ip netns add "$2"
    ip netns add "$1"
    ip -n "$2" link set lo up
    ip -n "$1" link set lo up
    connect "$2" "11.22.33.${4}0"
    cable "$2" lan "$1" eth0
    ip -n "$2" addr add "10.0.$4.1/24" dev lan
    ip -n "$1" addr add "10.0.$4.2/24" dev eth0
    ip -n "$1" route add default via "10.0.$4.1"
    in_ns "$2" sysctl -qw net.ipv4.ip_forward=1
    rules "$3" "10.0.$4.2" | in_ns "$2" nft -f -
}

open_host() { # [firewall]
    ip netns add C
    ip -n C link set lo up
    connect C 11.22.33.40
    if [ "${1:-}" = firewall ]; then
        in_ns C nft 'table ip firewall {
            chain own { type filter hook input priority filter; iifname wan ct state established accept; iifname wan drop; }
        }'
    fi
}

internet
home A natA "$1" 1
home B natB "$2" 2
open_host "${3:-}"
