# Phones for the scenarios, and what watches them. A phone on controller K (dummy_udc.K) is on bus K+1.

gadgets=/sys/kernel/config/usb_gadget
export ZEBPHONES_MODELS=/lab/models

# For the one who waits in front of the console.
say() {
    echo "lab: $*" >/dev/console
}

# The witness: every transfer of every bus as the kernel saw it, on the monotonic clock.
start_witness() {
    cat /sys/kernel/debug/usb/usbmon/0u >/out/usbmon.txt &
}

start_host() {
    zebhost run --json >/out/zebhost.jsonl 2>/out/zebhost.log &
    host_pid=$!
    await_line /out/zebhost.jsonl '"started"' 10
    sed -n 's/.* \(\/.*zeb.*\)/\1/p' "/proc/$host_pid/maps" | sort -u >/out/files.txt
}

# Ends the host as a service manager does, and keeps its exit status for the check.
stop_host() {
    local status=0
    kill -TERM "$host_pid"
    wait "$host_pid" || status=$?
    echo "$status" >/out/zebhost.status
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

interface_with_mac() {
    local address
    for address in /sys/class/net/*/address; do
        [ "$(cat "$address")" != "$1" ] || { basename "$(dirname "$address")"; return; }
    done
}

# plug_tether K: a phone that shares its network by RNDIS. Its own end of the link lives in a network name space
# and serves addresses there, so that the host's end gets its own by DHCP, as from a phone.
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
    serve_addresses "$(interface_with_mac "$phone_mac")"
    while [ -z "$(interface_with_mac "$host_mac")" ]; do sleep 0.1; done
    request_address "$(interface_with_mac "$host_mac")"
}

# serve_addresses INTERFACE
serve_addresses() {
    unshare -n sleep 100000 &
    phone_space=$!
    # The name space is there once its process is no longer in ours.
    while [ "$(readlink /proc/$phone_space/ns/net)" = "$(readlink /proc/self/ns/net)" ]; do sleep 0.1; done
    ip link set "$1" netns "$phone_space"
    cat >/run/udhcpd.conf <<CONF
start 192.168.42.42
end 192.168.42.42
interface $1
lease_file /run/udhcpd.leases
pidfile /run/udhcpd.pid
option subnet 255.255.255.0
option router 192.168.42.129
CONF
    touch /run/udhcpd.leases
    nsenter -t "$phone_space" -n ip addr add 192.168.42.129/24 dev "$1"
    nsenter -t "$phone_space" -n ip link set "$1" up
    nsenter -t "$phone_space" -n udhcpd -f /run/udhcpd.conf 2>/out/udhcpd.log &
}

# request_address INTERFACE
request_address() {
    ip link set "$1" up
    udhcpc -i "$1" -n -q -t 10 -T 1 -s /lab/udhcpc.script >/out/udhcpc.log 2>&1
    ip -4 addr show dev "$1" >/out/address.txt
}

unplug_tether() {
    local gadget=$gadgets/tether$1
    echo "" >"$gadget/UDC"
    kill "$phone_space" "$(cat /run/udhcpd.pid)"
    rm "$gadget/configs/c.1/f1"
    rmdir "$gadget/configs/c.1" "$gadget/functions/rndis.$1" "$gadget/strings/0x409" "$gadget"
}

# plug_accessory K: a phone that switches to accessory mode when asked to, and writes down what it was asked.
plug_accessory() {
    functionfs-phone "dummy_udc.$1" >/out/phone.jsonl 2>/out/phone.log &
    phone_pid=$!
    await_line /out/phone.jsonl '"plugged"' 10
}

unplug_accessory() {
    kill -TERM "$phone_pid"
    wait "$phone_pid"
}
