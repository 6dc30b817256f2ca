#!/usr/bin/env bash
# Collects on a machine whose only network adapters are made to measure, and checks which of them
# the report has and what it says of them.
#
#   made_adapters.sh FOLDER     the folder of orreryctl.exe and orrery.dll
#
# Needs root, for a network namespace of its own; exits 77 where that is not to be had.
folder=$(realpath "$1")

skip() {
    echo "skipped: $1"
    exit 77
}

if [ "${2:-}" != inside ]; then
    [ "$(id -u)" = 0 ] || skip "only root may make network adapters"
    command -v ip >/dev/null || skip "there is no ip command"
    unshare --net --mount true 2>/dev/null || skip "network namespaces are not allowed here"
    exec unshare --net --mount bash "$0" "$folder" inside
fi

source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/setup.sh"

scratch=$(mktemp -d)
trap 'WINEPREFIX=$scratch/wine wineserver -k 2>/dev/null || true; rm -rf "$scratch"' EXIT

# Two ends of a cable, as NAME:HARDWARE-ADDRESS each.
make_pair() {
    ip link add "${1%%:*}" address "${1#*:}" type veth peer name "${2%%:*}" address "${2#*:}" ||
        skip "virtual cables cannot be made here"
    ip link set "${1%%:*}" addrgenmode none up
    ip link set "${2%%:*}" addrgenmode none up
}
make_pair lan0:02:11:22:33:44:55 lan1:00:50:56:c1:00:01
make_pair host0:00:50:56:c0:00:01 dest0:44:45:53:54:00:01
make_pair ras0:02:11:20:52:41:53 zero0:02:11:22:00:00:00
ip addr add 192.168.7.5/24 dev lan0
ip addr add 192.168.8.5/24 dev lan0
ip addr add fd00::5/64 dev lan0 nodad
ip addr add fe80::5/64 dev lan0 nodad
ip route add default via 192.168.7.1
ip link set lo up  # or else Wine waits long for a print server that refuses at once here
printf 'nameserver 192.168.7.2\nnameserver fd00::2\n' >"$scratch/resolv.conf"
mount --bind "$scratch/resolv.conf" /etc/resolv.conf

# The adapters are those of the place where the Wine server starts.
clone_wine "$scratch/wine"
cd "$scratch"
wine "$folder/orreryctl.exe" collect made.tsv </dev/null >collect.log 2>&1 || { cat collect.log; exit 1; }

# One row for each adapter, in the order of their names.
iconv -f UTF-16LE -t UTF-8 made.tsv | tr -d '\r' | awk -F'\t' '
    $1 == "NetworkAdapter" { fact[$2, $3] = $4; last = $2 > last ? $2 : last }
    END { for (at = 0; at <= last; ++at)
              print fact[at, "Name"], fact[at, "MACAddress"], fact[at, "AdapterType"],
                    "[" fact[at, "IPAddress"] "/" fact[at, "IPSubnet"] "]",
                    "[" fact[at, "DefaultIPGateway"] "]", fact[at, "DNSServer"],
                    "[" fact[at, "IPV6Address"] "]", fact[at, "DHCPLeaseExpires"] }' |
    sort >facts.txt
diff - facts.txt <<'EXPECTED'
lan0 02-11-22-33-44-55 Ethernet [192.168.7.5/255.255.255.0] [192.168.7.1] 192.168.7.2 [fd00::5,fe80::5%lan0] 1970-01-01T00:00:00Z
lan1 00-50-56-C1-00-01 Ethernet [/] [] 192.168.7.2 [] 1970-01-01T00:00:00Z
EXPECTED
