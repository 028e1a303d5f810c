#!/usr/bin/python3
"""An SMTP server on 127.0.0.1 for the tests of the correction mails.

    smtp_sink.py FOLDER SECONDS [REJECT_FROM]

Listens on a free port and writes it to FOLDER/port once it accepts connections.
Every message accepted is written as FOLDER/N.eml exactly as received (N from 1),
with its envelope (sender, then recipients, a line each) in FOLDER/N.envelope.
With REJECT_FROM, message number REJECT_FROM and every later one are refused.
Stops by itself after SECONDS, or as soon as its standard input is closed.
"""
import asyncio
import os
import sys
import threading

from aiosmtpd.smtp import SMTP


class Sink:
    def __init__(self, folder, reject_from):
        self.folder = folder
        self.reject_from = reject_from
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        if self.reject_from and self.count >= self.reject_from:
            return "554 Transaction failed: refused by the test server"
        base = os.path.join(self.folder, str(self.count))
        with open(base + ".envelope", "w", encoding="utf-8") as f:
            f.write("\n".join([envelope.mail_from, *envelope.rcpt_tos]) + "\n")
        # Written under another name first: the test reads only complete files.
        with open(base + ".part", "wb") as f:
            f.write(envelope.original_content)
        os.replace(base + ".part", base + ".eml")
        return "250 OK"


async def serve(folder, seconds, reject_from):
    loop = asyncio.get_running_loop()
    handler = Sink(folder, reject_from)
    server = await loop.create_server(lambda: SMTP(handler, hostname="cvl-test"), "127.0.0.1", 0)
    port = server.sockets[0].getsockname()[1]
    with open(os.path.join(folder, "port.part"), "w") as f:
        f.write(str(port))
    os.replace(os.path.join(folder, "port.part"), os.path.join(folder, "port"))

    stop = asyncio.Event()

    def wait_for_stdin():
        sys.stdin.read()
        loop.call_soon_threadsafe(stop.set)

    threading.Thread(target=wait_for_stdin, daemon=True).start()
    try:
        await asyncio.wait_for(stop.wait(), seconds)
    except asyncio.TimeoutError:
        pass
    server.close()
    await server.wait_closed()


def main():
    folder = sys.argv[1]
    seconds = float(sys.argv[2])
    reject_from = int(sys.argv[3]) if len(sys.argv) > 3 else 0
    asyncio.run(serve(folder, seconds, reject_from))


if __name__ == "__main__":
    main()
