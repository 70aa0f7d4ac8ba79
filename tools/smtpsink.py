#!/usr/bin/python3
"""A mail server for tests and the demo: an SMTP server on HOST:PORT that
writes each message it receives to DIR as NNNN.eml (the envelope as MAIL
FROM and RCPT TO lines, an empty line, then the message as received, with
line feeds for its CR LF line ends).
Prints "smtpsink: listening" once it accepts, and runs until SIGINT or
SIGTERM.

usage: smtpsink.py HOST PORT DIR"""
import os
import signal
import sys
import threading

from aiosmtpd.controller import Controller


class Sink:
    def __init__(self, directory):
        self.directory = directory
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        head = "MAIL FROM:<%s>\n" % envelope.mail_from
        head += "".join("RCPT TO:<%s>\n" % r for r in envelope.rcpt_tos)
        name = os.path.join(self.directory, "%04d.eml" % self.count)
        with open(name + ".part", "wb") as out:
            out.write(head.encode() + b"\n" + envelope.original_content.replace(b"\r\n", b"\n"))
        os.rename(name + ".part", name)
        return "250 OK"


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    host, port, directory = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    os.makedirs(directory, exist_ok=True)
    controller = Controller(Sink(directory), hostname=host, port=port)
    controller.start()
    print("smtpsink: listening on %s:%d" % (host, port), flush=True)
    stop = threading.Event()
    signal.signal(signal.SIGINT, lambda *_: stop.set())
    signal.signal(signal.SIGTERM, lambda *_: stop.set())
    stop.wait()
    controller.stop()
    return 0


if __name__ == "__main__":
    sys.exit(main())
