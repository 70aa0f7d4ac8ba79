#!/usr/bin/env bash
# Builds the Debian package from a build tree, unpacks it with dpkg -x into a
# scratch root, checks what it holds and starts the gateway found there on the
# packaged configuration: it must listen, and stop cleanly on SIGINT, the
# unit's stop signal. Usage: install_test.sh BUILD_DIR [TRUE if cross-built,
# then the programs are not run] (exit 77: no dpkg-deb).
set -uo pipefail
command -v dpkg-deb >/dev/null && command -v cpack >/dev/null || exit 77
build=$1 scratch=$(mktemp -d /tmp/oxgw-package-XXXXXX) gw= failures=0
trap '[ -n "$gw" ] && kill -9 $gw; rm -rf "$scratch"' EXIT
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/out" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
deb=$(echo "$scratch"/out/*.deb) root=$scratch/root
dpkg-deb -x "$deb" "$root" && dpkg-deb -e "$deb" "$scratch/control" || exit 1

# kind (x program, f file, d folder, z manual page) and path
expect=(x usr/sbin/oxgw x usr/bin/torcsim x usr/bin/oxclient f etc/torc2/oxgwcfg.xml
    f lib/systemd/system/oxgw.service d var/log/debug d var/log/oxgw f usr/share/oxgw/worlds/line.oxw
    f usr/share/oxgw/worlds/line.oxs f usr/share/oxgw/languages/oxgw_english.ucs
    z usr/share/man/man8/oxgw.8.gz z usr/share/man/man1/torcsim.1.gz
    z usr/share/man/man1/oxclient.1.gz f usr/share/doc/oxgw/README.md)
[ -x "$build/gwayclient" ] && expect+=(x usr/bin/gwayclient z usr/share/man/man1/gwayclient.1.gz)
for ((i = 0; i < ${#expect[@]}; i += 2)); do
    path=$root/${expect[i + 1]}
    case ${expect[i]} in
    x) [ -f "$path" ] && [ -x "$path" ] ;;
    f) [ -s "$path" ] ;;
    d) [ -d "$path" ] ;;
    z) gzip -dc "$path" 2>/dev/null | grep -q '^\.TH ' ;;
    esac || fail "missing or bad: ${expect[i + 1]}"
done
unit=$root/lib/systemd/system/oxgw.service
for line in After=network-online.target KillSignal=SIGINT Restart=on-failure "LogsDirectory=debug oxgw"; do
    grep -qx "$line" "$unit" || fail "unit lacks $line"
done
exec=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
[ -x "$root$exec" ] || fail "unit starts $exec, which the package does not hold"
grep -qx /etc/torc2/oxgwcfg.xml "$scratch/control/conffiles" || fail "configuration is no conffile"
grep -q '^Depends:.*libace' "$scratch/control/control" || fail "no dependency on ACE"

[ "${2:-}" = TRUE ] && { [ $failures -eq 0 ] && echo "${deb##*/}: files checked"; exit $failures; }
# The gateway as the unit starts it, below OXGW_ROOT, with the client port
# moved to a free one and the machine looked for on a loopback address of its own.
port=$((20000 + $$ % 20000)) log=$root/var/log/debug/oxgw.log
sed -i "s/<Network port=\"[0-9]*\"/<Network port=\"$port\"/" "$root/etc/torc2/oxgwcfg.xml"
OXGW_ROOT=$root OXGW_APPLICATION_IP=127.88.$(($$ / 250 % 250)).$(($$ % 250 + 2)) \
    "$root$exec" --silent >"$scratch/stdout" 2>"$scratch/stderr" &
gw=$!
for ((i = 0; i < 100; i++)); do grep -qs "Listening on socket port $port\." "$log" && break; sleep 0.1; done
grep -qs "Listening on socket port $port\." "$log" || fail "no listening socket: $(cat "$log" 2>&1)"
(exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || fail "client port $port takes no connection"
kill -INT $gw
wait $gw
code=$? gw=
[ $code -eq 0 ] || fail "gateway ended with $code on SIGINT: $(cat "$scratch/stderr")"
grep -q "SIGINT received, shutting down!" "$log" || fail "no orderly stop in the log"
# --silent keeps the debug print off stdout; the print task's farewell is all there is.
grep -qvx "Testprint task terminates\." "$scratch/stdout" && fail "stdout: $(head -c 300 "$scratch/stdout")"
[ $failures -eq 0 ] && echo "${deb##*/}: all checks passed"
