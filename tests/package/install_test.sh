#!/usr/bin/env bash
# Builds the Debian package from a build tree, unpacks it into a scratch root
# with dpkg -x, checks what it holds, and starts the unpacked gateway there
# on its default configuration: it must listen and stop cleanly on SIGINT,
# the signal the unit stops it with.
#   install_test.sh BUILD_DIR      (exit 77: skipped, no dpkg-deb)
set -uo pipefail
build=$1
command -v dpkg-deb >/dev/null && command -v cpack >/dev/null || { echo "no dpkg-deb"; exit 77; }

scratch=$(mktemp -d /tmp/oxgw-package-XXXXXX)
gw=
trap '[ -n "$gw" ] && kill -9 $gw 2>/dev/null; rm -rf "$scratch"' EXIT
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/out" >"$scratch/cpack.log" 2>&1 ||
    { cat "$scratch/cpack.log"; exit 1; }
debs=("$scratch"/out/*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || { echo "no single package: ${debs[*]}"; exit 1; }
root=$scratch/root
dpkg-deb -x "${debs[0]}" "$root" && dpkg-deb -e "${debs[0]}" "$scratch/control" || exit 1

# What the package holds: kind (f file, x program, d folder, z manual page) and path.
expect=(x usr/sbin/oxgw x usr/bin/torcsim x usr/bin/oxclient
    f etc/torc2/oxgwcfg.xml f lib/systemd/system/oxgw.service
    d var/log/debug d var/log/oxgw
    f usr/share/oxgw/worlds/line.oxw f usr/share/oxgw/worlds/line.oxs
    f usr/share/oxgw/languages/oxgw_english.ucs f usr/share/oxgw/languages/oxgw_german.ucs
    z usr/share/man/man8/oxgw.8.gz z usr/share/man/man1/torcsim.1.gz
    z usr/share/man/man1/oxclient.1.gz f usr/share/doc/oxgw/README.md)
if [ -x "$build/gwayclient" ]; then
    expect+=(x usr/bin/gwayclient z usr/share/man/man1/gwayclient.1.gz)
fi
for ((i = 0; i < ${#expect[@]}; i += 2)); do
    kind=${expect[i]} path=$root/${expect[i + 1]}
    case $kind in
    x) [ -f "$path" ] && [ -x "$path" ] ;;
    f) [ -f "$path" ] && [ -s "$path" ] ;;
    d) [ -d "$path" ] ;;
    z) gzip -dc "$path" 2>/dev/null | grep -q '^\.TH ' ;;
    esac || fail "missing or bad: ${expect[i + 1]}"
done

unit=$root/lib/systemd/system/oxgw.service
for line in After=network-online.target KillSignal=SIGINT Restart=on-failure \
    WantedBy=multi-user.target "LogsDirectory=debug oxgw"; do
    grep -qx "$line" "$unit" || fail "unit lacks $line"
done
exec=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
[ -x "$root$exec" ] || fail "unit starts $exec, which the package does not hold"
grep -qx /etc/torc2/oxgwcfg.xml "$scratch/control/conffiles" || fail "configuration is no conffile"
grep -q '^Depends:.*libace' "$scratch/control/control" || fail "no dependency on ACE"

# The unpacked gateway on the packaged configuration, with only the client
# port moved to a free one and the machine looked for on a loopback address
# of its own; OXGW_ROOT puts every path it uses below the scratch root.
port=$((20000 + $$ % 20000))
ip=127.88.$(($$ / 250 % 250)).$(($$ % 250 + 2))
sed -i "s/<Network port=\"[0-9]*\"/<Network port=\"$port\"/" "$root/etc/torc2/oxgwcfg.xml"
OXGW_ROOT=$root OXGW_APPLICATION_IP=$ip "$root$exec" --silent >"$scratch/stdout" 2>"$scratch/stderr" &
gw=$!
log=$root/var/log/debug/oxgw.log
for ((i = 0; i < 100; i++)); do
    grep -q "Listening on socket port $port\." "$log" 2>/dev/null && break
    sleep 0.1
done
grep -q "Listening on socket port $port\." "$log" 2>/dev/null || fail "gateway does not listen: $(cat "$log" 2>&1)"
(exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || fail "client port $port takes no connection"
kill -INT $gw
wait $gw
code=$?
gw=
[ $code -eq 0 ] || fail "gateway ended with $code on SIGINT: $(cat "$scratch/stderr")"
grep -q "SIGINT received, shutting down!" "$log" || fail "no orderly stop in the log"
# --silent (as the unit runs it): the debug print stays off stdout; only the
# print task's own farewell is written there.
grep -qvx "Testprint task terminates\." "$scratch/stdout" &&
    fail "--silent gateway wrote to stdout: $(head -c 300 "$scratch/stdout")"

[ $failures -eq 0 ] && echo "package ${debs[0]##*/}: all checks passed"
[ $failures -eq 0 ]
