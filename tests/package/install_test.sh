#!/usr/bin/env bash
# Packs a build tree with CPack, unpacks the .deb with dpkg -x into a scratch root, checks
# its files and runs its gateway on the packaged configuration, stopped by SIGINT as the
# unit does. install_test.sh BUILD_DIR [TRUE: cross-built, run nothing] (77: no dpkg-deb)
set -uo pipefail
command -v dpkg-deb >/dev/null && command -v cpack >/dev/null || exit 77
build=$1 scratch=$(mktemp -d /tmp/oxgw-package-XXXXXX) gw= failures=0
trap '[ -n "$gw" ] && kill -9 $gw; rm -rf "$scratch"' EXIT
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/out" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
deb=$(echo "$scratch"/out/*.deb) root=$scratch/root
dpkg-deb -x "$deb" "$root" && dpkg-deb -e "$deb" "$scratch/control" || exit 1

# The unit starts the packaged server: the prefix of the rest (/usr, or what the build chose).
unit=$root/lib/systemd/system/oxgw.service
exec=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit" 2>/dev/null)
p=${exec#/} p=${p%/sbin/oxgw} s=${p}/share m=${p}/share/man
# kind (x program, f file, d folder, z manual page) and path
expect=(x $p/sbin/oxgw x $p/bin/torcsim x $p/bin/oxclient f etc/torc2/oxgwcfg.xml d var/log/debug
    d var/log/oxgw f lib/systemd/system/oxgw.service f $s/oxgw/worlds/line.oxw f $s/oxgw/worlds/line.oxs
    f $s/oxgw/languages/oxgw_english.ucs f $s/doc/oxgw/README.md z $m/man8/oxgw.8.gz
    z $m/man1/torcsim.1.gz z $m/man1/oxclient.1.gz)
[ -x "$build/gwayclient" ] && expect+=(x $p/bin/gwayclient z $m/man1/gwayclient.1.gz)
for ((i = 0; i < ${#expect[@]}; i += 2)); do
    path=$root/${expect[i + 1]}
    case ${expect[i]} in
    x) [ -f "$path" ] && [ -x "$path" ] ;;
    f) [ -s "$path" ] ;;
    d) [ -d "$path" ] ;;
    z) gzip -dc "$path" 2>/dev/null | grep -q '^\.TH ' ;;
    esac || fail "missing or bad: ${expect[i + 1]}"
done
for line in After=network-online.target KillSignal=SIGINT Restart=on-failure "LogsDirectory=debug oxgw"; do
    grep -qx "$line" "$unit" || fail "unit lacks $line"
done
grep -qx /etc/torc2/oxgwcfg.xml "$scratch/control/conffiles" || fail "configuration is no conffile"
grep -q '^Depends:.*libace' "$scratch/control/control" || fail "no dependency on ACE"

[ "${2:-}" = TRUE ] && { [ $failures -eq 0 ] && echo "${deb##*/}: files checked"; exit $failures; }
# The gateway as the unit starts it, below OXGW_ROOT, with the client port
# moved to a free one and the machine looked for on a loopback address of its own.
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("", 0)); print(s.getsockname()[1])')
log=$root/var/log/debug/oxgw.log
sed -i "s/<Network port=\"[0-9]*\"/<Network port=\"$port\"/" "$root/etc/torc2/oxgwcfg.xml"
OXGW_ROOT=$root OXGW_APPLICATION_IP=127.88.$(($$ / 250 % 250)).$(($$ % 250 + 2)) \
    "$root$exec" --silent >"$scratch/stdout" 2>"$scratch/stderr" &
gw=$!
timeout 10 bash -c "until grep -qs 'Listening on socket port $port\.' $log; do sleep 0.1; done" ||
    fail "no listening socket: $(cat "$log" 2>&1)"
(exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || fail "client port $port takes no connection"
kill -INT $gw && wait $gw
code=$? gw=
[ $code -eq 0 ] || fail "gateway ended with $code on SIGINT: $(cat "$scratch/stderr")"
grep -q "SIGINT received, shutting down!" "$log" || fail "no orderly stop in the log"
# --silent: no debug print on stdout, only the print task's farewell.
grep -qvx "Testprint task terminates\." "$scratch/stdout" && fail "stdout: $(head -c 300 "$scratch/stdout")"
[ $failures -eq 0 ] && echo "${deb##*/}: all checks passed"
