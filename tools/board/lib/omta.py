"""The queue behind the omta stand-in: one file per message, delivered by
SMTP in one connection per queue run. A message that cannot be delivered
stays queued and the run ends with exit code 1."""
import os
import smtplib
import sys
import time

ROOT = os.environ.get("OXGW_ROOT", "")
QUEUE = ROOT + "/var/spool/omtaqueue"
CONF = ROOT + "/etc/omta.conf"


def server():
    """(host, port) of the SMTPserver line: "SMTPserver host[:port]" or
    "SMTPserver = host[:port]"."""
    with open(CONF, encoding="utf-8", errors="replace") as conf:
        for line in conf:
            words = [w for w in line.split() if w != "="]
            if len(words) >= 2 and words[0] == "SMTPserver":
                host, _, port = words[1].partition(":")
                return host, int(port or 25)
    raise OSError("no SMTPserver line in " + CONF)


def enqueue():
    lines = []
    for line in sys.stdin:
        if line.rstrip("\r\n") == ".":
            break
        lines.append(line)
    os.makedirs(QUEUE, exist_ok=True)
    name = "%020d.%d" % (time.time_ns(), os.getpid())
    temp = os.path.join(QUEUE, "." + name)
    with open(temp, "w", encoding="utf-8", errors="replace") as out:
        out.write("".join(lines))
    os.rename(temp, os.path.join(QUEUE, name))
    return 0


def queued():
    if not os.path.isdir(QUEUE):
        return []
    return sorted(n for n in os.listdir(QUEUE) if not n.startswith("."))


def envelope(text):
    """Sender and receivers from the From: and To: lines of the head."""
    sender, receivers = "", []
    for line in text.split("\n"):
        if not line:
            break
        key, _, value = line.partition(":")
        if key == "From":
            sender = value.strip()
        elif key == "To":
            receivers = [r.strip() for r in value.split(";") if r.strip()]
    return sender, receivers


def deliver():
    names = queued()
    if not names:
        return 0
    try:
        host, port = server()
        with smtplib.SMTP(host, port, timeout=20) as smtp:
            for name in names:
                path = os.path.join(QUEUE, name)
                with open(path, encoding="utf-8", errors="replace") as mail:
                    text = mail.read()
                sender, receivers = envelope(text)
                smtp.sendmail(sender, receivers, text.replace("\n", "\r\n").encode("utf-8"))
                os.remove(path)
    except (OSError, ValueError, smtplib.SMTPException) as error:
        print("omta: delivery failed: %s" % error, file=sys.stderr)
        return 1
    return 0


def listing():
    names = queued()
    if not names:
        print("Mail queue is empty")
    for name in names:
        with open(os.path.join(QUEUE, name), encoding="utf-8", errors="replace") as mail:
            print(name, envelope(mail.read())[1])
    return 0


if __name__ == "__main__":
    args = sys.argv[1:]
    if args == ["-q"]:
        sys.exit(deliver())
    if args == ["-bp"]:
        sys.exit(listing())
    if not args:
        sys.exit(enqueue())
    print("usage: omta [-q | -bp] < message", file=sys.stderr)
    sys.exit(2)
