# Phones for the scenarios, and what watches them. A phone on controller K (dummy_udc.K) is on bus K+1; what is
# kept of it, in $out or in /run, carries its K.

gadgets=/sys/kernel/config/usb_gadget
export ZEBPHONES_MODELS=/lab/models
: "${out:=/out}"

# For the one who waits in front of the console.
say() {
    echo "lab: $*" >/dev/console
}

# The witness: every transfer of every bus as the kernel saw it, on the monotonic clock.
start_witness() {
    cat /sys/kernel/debug/usb/usbmon/0u >"$out/usbmon.txt" &
    witness=$!
    trap 'kill "$witness"' EXIT
}

# start_host [USER], with $host_options
start_host() {
    local host="/usr/bin/zebhost run --json ${host_options-}"
    if [ $# -gt 0 ]; then
        su "$1" -c "exec $host" >"$out/zebhost.jsonl" 2>"$out/zebhost.log" &
    else
        $host >"$out/zebhost.jsonl" 2>"$out/zebhost.log" &
    fi
    host_pid=$!
    await_line "$out/zebhost.jsonl" '"started"' 10
    describe_host
    grep ^Uid: "/proc/$host_pid/status" >"$out/zebhost.user"
}

# Which files are in use: zebhost, the plug-in, and the sanitizers if they were built with them.
describe_host() {
    sed -n 's/.* \(\/.*\(zeb\|san\).*\)/\1/p' "/proc/$host_pid/maps" | sort -u >"$out/files.txt"
}

# Ends the host as a service manager does, and keeps its exit status for the check.
stop_host() {
    local status=0
    kill -TERM "$host_pid"
    wait "$host_pid" || status=$?
    echo "$status" >"$out/zebhost.status"
}

# await_told TEXT SECONDS [COUNT]: until the host has told TEXT in COUNT lines.
await_told() {
    await_line "$out/zebhost.jsonl" "$@"
}

# await_line FILE TEXT SECONDS [COUNT]: until TEXT stands in COUNT lines of FILE. A scenario goes on when it
# does not come: what is missing is for the check to say.
await_line() {
    local polls=$(($3 * 5))
    while [ "$(cat "$1" 2>/dev/null | grep -c "$2")" -lt "${4:-1}" ]; do
        [ "$polls" -gt 0 ] || { echo "no $2 in $1 within $3 s"; return 0; }
        polls=$((polls - 1))
        sleep 0.2
    done
}

# node_of K: the device node of what is plugged into controller K.
node_of() {
    local device=/sys/bus/usb/devices/$(($1 + 1))-1
    printf '/dev/bus/usb/%03d/%03d' "$(cat "$device/busnum")" "$(cat "$device/devnum")"
}

interface_with_mac() {
    local address
    for address in /sys/class/net/*/address; do
        [ "$(cat "$address")" != "$1" ] || { basename "$(dirname "$address")"; return; }
    done
}

# plug_tether K: a phone that shares its network by RNDIS, as the kernel's own function does: the catalogue's
# "rndis" with a network behind it. Its own end of the link lives in a network name space and serves addresses
# there, so that the host's end gets its own by DHCP, as from a phone.
plug_tether() {
    local gadget=$gadgets/tether$1 host_mac=02:00:00:00:01:0$1 phone_mac=02:00:00:00:02:0$1
    mkdir "$gadget"
    echo 0x18d1 >"$gadget/idVendor"
    echo 0x4ee3 >"$gadget/idProduct"
    mkdir "$gadget/strings/0x409" "$gadget/configs/c.1" "$gadget/functions/rndis.$1"
    echo "Simulated" >"$gadget/strings/0x409/manufacturer"
    echo "Tethering phone" >"$gadget/strings/0x409/product"
    echo "TETHER$1" >"$gadget/strings/0x409/serialnumber"
    echo "$host_mac" >"$gadget/functions/rndis.$1/host_addr"
    echo "$phone_mac" >"$gadget/functions/rndis.$1/dev_addr"
    ln -s "$gadget/functions/rndis.$1" "$gadget/configs/c.1/f1"
    echo "dummy_udc.$1" >"$gadget/UDC"
    serve_addresses "$1" "$(interface_with_mac "$phone_mac")"
    while [ -z "$(interface_with_mac "$host_mac")" ]; do sleep 0.1; done
    request_address "$1" "$(interface_with_mac "$host_mac")"
}

# serve_addresses K INTERFACE
serve_addresses() {
    local space
    unshare -n sleep 100000 &
    space=$!
    echo "$space" >"/run/space-$1.pid"
    # The name space is there once its process is no longer in ours.
    while [ "$(readlink /proc/$space/ns/net)" = "$(readlink /proc/self/ns/net)" ]; do sleep 0.1; done
    ip link set "$2" netns "$space"
    cat >"/run/udhcpd-$1.conf" <<CONF
start 192.168.42.42
end 192.168.42.42
interface $2
lease_file /run/udhcpd-$1.leases
pidfile /run/udhcpd-$1.pid
option subnet 255.255.255.0
option router 192.168.42.129
CONF
    : >"/run/udhcpd-$1.leases"
    nsenter -t "$space" -n ip addr add 192.168.42.129/24 dev "$2"
    nsenter -t "$space" -n ip link set "$2" up
    nsenter -t "$space" -n udhcpd -f "/run/udhcpd-$1.conf" 2>"$out/udhcpd-$1.log" &
}

# request_address K INTERFACE
request_address() {
    ip link set "$2" up
    udhcpc -i "$2" -n -q -t 10 -T 1 -s /lab/udhcpc.script >"$out/udhcpc-$1.log" 2>&1
    ip -4 addr show dev "$2" >"$out/address-$1.txt"
}

unplug_tether() {
    local gadget=$gadgets/tether$1
    echo "" >"$gadget/UDC"
    kill "$(cat "/run/space-$1.pid")" "$(cat "/run/udhcpd-$1.pid")"
    rm "$gadget/configs/c.1/f1"
    rmdir "$gadget/configs/c.1" "$gadget/functions/rndis.$1" "$gadget/strings/0x409" "$gadget"
}

# plug_phone K [PHONE]: a phone of the catalogue, by default "accessory", which switches to accessory mode when
# asked to. It writes down what it was asked, over all its plugs.
plug_phone() {
    local record=$out/phone-$1.jsonl before
    before=$(cat "$record" 2>/dev/null | grep -c '"plugged"') || true
    functionfs-phone "dummy_udc.$1" "${2:-accessory}" >>"$record" 2>>"$out/phone-$1.log" &
    echo $! >"/run/phone-$1.pid"
    await_line "$record" '"plugged"' 10 $((before + 1))
}

unplug_phone() {
    local phone
    phone=$(cat "/run/phone-$1.pid")
    kill -TERM "$phone"
    wait "$phone"
}
