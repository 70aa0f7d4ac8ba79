# The demo's mail: an SMTP server on the demo's loopback address that keeps
# each message it receives, an alarm account in the gateway's configuration
# that mails there, and at the end the alarm mail that arrived.
# Sourced by scripts/demo.

# demo_mail_start ROOT IP SECONDS: starts the server (it ends by itself after
# SECONDS + 20) and adds the account to ROOT's configuration.
demo_mail_start() {
    local root=$1 ip=$2 port=$((20000 + RANDOM % 20000))
    demo_mail_dir=$root/smtp
    mkdir -p "$root/etc" "$root/usr/bin"
    printf '# mail queue of the board\nSMTPserver = localhost\n' >"$root/etc/omta.conf"
    ln -sf "$PWD/tools/board/repareQueue" "$root/usr/bin/repareQueue"
    timeout $(($3 + 20)) /usr/bin/python3 tools/smtpsink.py "$ip" "$port" "$demo_mail_dir" \
        >"$root/smtpsink.log" 2>&1 &
    demo_mail_pid=$!
    local account="<Email SMTP=\"$ip:$port\" Name=\"Line 4\" From=\"line4@plant\" To=\"shift@plant;service@plant;\" Subject=\"Alarm !ALARMTYPE on line 4 (!SERNO)\" Message=\"!ALARMTEXT!NLat !TIME on !COMPUTERNAME, gateway !VERSION\" MAPI=\"\" AlarmType=\"201-202\" accessLevel=\"User\" dialUp=\"false\" active=\"true\" emailType=\"Alarm\" updateTime=\"0\"/>"
    sed -i "s|</Configuration>|$account</Configuration>|" "$root/etc/torc2/oxgwcfg.xml"
    echo "== SMTP server (tools/smtpsink.py) on $ip:$port; alarm types 201-202 are mailed there"
}

# demo_mail_show: stops the server and prints the first mail it received.
demo_mail_show() {
    local first
    kill "$demo_mail_pid" 2>/dev/null
    first=$(ls "$demo_mail_dir"/*.eml 2>/dev/null | head -n 1)
    if [ -z "$first" ]; then
        echo "== no mail arrived at the SMTP server"
        return
    fi
    echo "== $(ls "$demo_mail_dir"/*.eml | wc -l) mail(s) arrived at the SMTP server; the first ($first):"
    cut -c1-200 "$first"
}
